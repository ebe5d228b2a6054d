package com.brelvik.vesk.ui.ctl;

import static com.brelvik.vesk.ui.ctl.Tour.at;

import com.brelvik.vesk.ui.ctl.Tour.Stop;
import com.brelvik.vesk.ui.modelobjects.UpdateComponent;
import java.util.List;
import java.util.Set;

/**
 * The calls of a tour through updates, keywords, sign-on, reputation and the end-user quarantine, which change the
 * install root. The folder has what {@code tools/demo} puts there: {@code source} and {@code source.key} of the update
 * source, {@code spam} and {@code engine} with files for components, sessions {@code session}, {@code foreign} and
 * {@code old}, and {@code ports} with the ports of a reputation server, one with the certificate of another host, and a
 * proxy that knows ann.
 */
final class ServicesTour {
    private static final String BOTH =
            UpdateComponent.selection(Set.of(UpdateComponent.SPAM_PATTERN, UpdateComponent.SPAM_ENGINE));
    private static final String SPAM = UpdateComponent.selection(Set.of(UpdateComponent.SPAM_PATTERN));

    private final String folder;
    private final List<String> ports;

    ServicesTour(String folder) {
        this.folder = folder;
        this.ports = Tour.lines(folder + "/ports");
    }

    List<List<Stop>> stops() {
        return List.of(updates(), ciphers(), keywords(), signOn(), reputation(), quarantine(), jobs());
    }

    private List<Stop> updates() {
        String publish = "$ tools/make-update-source --dir " + folder + "/source --key " + folder
                + "/source.key --keep spam-pattern=%s=" + folder + "/spam spam-engine=%s=" + folder
                + "/engine >/dev/null && echo published";
        return List.of(
                at("Two components at the source", String.format(publish, "1.0", "7.1"), 0).shows("published"),
                at("What the source has", "UpdateJNI.getAvailVersion", 0),
                at("No update runs", "UpdateJNI.isRunning", 601),
                at("Both are fetched, checked and put in use", "UpdateJNI.manualUpdate", 0, "source", "1",
                        "COMPONENTS", BOTH).shows("1.0 7.1"),
                at("Once more: nothing to do", "UpdateJNI.manualUpdate", 600, "source", "1", "COMPONENTS", BOTH)
                        .shows("1.0 7.1"),
                at("A newer version of one", String.format(publish, "1.1", "7.1"), 0).shows("published"),
                at("It comes", "UpdateJNI.manualUpdate", 0, "source", "1", "COMPONENTS", SPAM).shows("1.1"),
                at("It is not as good: back", "UpdateJNI.rollback", 0, "source", "1", "COMPONENTS", SPAM)
                        .shows("SUCCESS"),
                at("There is no second step back", "UpdateJNI.rollback", 500, "source", "1", "COMPONENTS", SPAM)
                        .shows("ROLLBACK_UNAVAILABLE"),
                at("What is in use", "UpdateJNI.getCurrentVersion", 0),
                at("A package that was altered on the way",
                        String.format(publish, "1.2", "7.1") + " && for f in " + folder
                        + "/source/spam-pattern-1.2*; do printf x | dd of=\"$f\" bs=1 seek=100 conv=notrunc 2>/dev/null"
                        + "; done", 0),
                at("It is refused, and the old one stays", "UpdateJNI.manualUpdate", 500, "source", "1", "COMPONENTS",
                        SPAM).shows("1.0"),
                at("The event log", "$ cut -d' ' -f2- $VESK_HOME/log/update-events.log", 0));
    }

    private static List<Stop> ciphers() {
        return List.of(
                at("A text for the settings", "UpdateJNI.getEncryptStr", 0, "text", "secret"),
                at("A text that is not of this appliance", "UpdateJNI.getDecryptStr", 0, "text", "nonsense").shows(""),
                at("A null text", "UpdateJNI.getEncryptStr", 500, "text", null));
    }

    private static List<Stop> keywords() {
        String method = "PolicyJNI.validateKeyword";
        return List.of(
                at("A keyword expression", method, 0, "EXPRESSION", "(invoice OR \"bill of *\") AND NOT draft"),
                at("A regular expression", method, 0, "EXPRESSION", "/acc(ount|t)\\s*\\d{4,}/"),
                at("A parenthesis without its partner", method, 516, "EXPRESSION", "(invoice OR bill"),
                at("A regular expression that would not end", method, 516, "EXPRESSION", "/(a+)+$/"));
    }

    private List<Stop> signOn() {
        String check = "CorsaJNI.isSessionFromCORSA";
        String session = Tour.lines(folder + "/session").get(0);
        return List.of(
                at("A session of the central console", check, 0, "session", session),
                at("The answer, made once", "CorsaJNI.CreateReponse", Tour.ANY, "session", session),
                at("Not twice", "CorsaJNI.CreateReponse", "", "session", session),
                at("A session of a console that is not ours", check, -6, "session",
                        Tour.lines(folder + "/foreign").get(0)),
                at("A session that has expired is the console's all the same", check, 0, "session",
                        Tour.lines(folder + "/old").get(0)),
                at("But is not answered", "CorsaJNI.CreateReponse", "", "session",
                        Tour.lines(folder + "/old").get(0)),
                at("No session at all", check, -4, "session", "nonsense"));
    }

    private List<Stop> reputation() {
        String good = "https://localhost:" + ports.get(0);
        return List.of(
                check("The reputation server answers", "[0, 0]", good, "", ""),
                check("Through a proxy that asks for a password", "[0, 0]", good, ports.get(2), "secret"),
                check("With a wrong one, which this proxy answers with 401", "[4, 401]", good, ports.get(2), "guess"),
                check("The certificate is another host's", Tour.ANY, "https://localhost:" + ports.get(1), "", ""),
                check("Nobody is there", Tour.ANY, "127.0.0.1:1", "", ""));
    }

    private static Stop check(String title, Object answer, String server, String proxyPort, String password) {
        boolean proxy = !proxyPort.isEmpty();
        return at(title, "QUORJNI.quorChkServerStatus", answer, "SERVER", server, "use-proxy", proxy ? "1" : "0",
                "proxy", proxy ? "127.0.0.1" : "", "proxy-port", proxy ? proxyPort : "8080", "proxy-user",
                proxy ? "ann" : "", "proxy-password", password);
    }

    private static List<Stop> quarantine() {
        return List.of(
                at("The end-user quarantine's store", "EuqJNI.init_euq_lib", true),
                at("Is it on?", "EuqJNI.isEuqEnable", false),
                at("On", "EuqJNI.enableEuq", 0),
                at("It is", "EuqJNI.isEuqEnable", true),
                at("An area for a scanner", "EuqJNI.registEuq", 0, "NAME", "scanner-a"),
                at("Another one", "EuqJNI.registEuq", 0, "NAME", "scanner-b"),
                at("No name", "EuqJNI.registEuq", 2, "NAME", ""),
                at("Distribution lists are kept up", "EuqJNI.enableDlMaintain", 0),
                at("No transfer so far", "EuqJNI.getTransferEuqResult", -1));
    }

    private static List<Stop> jobs() {
        return List.of(
                at("20,000 messages come in",
                        "$ tools/sample-euq --area 2 --messages 20000 >/dev/null && echo stored", 0).shows("stored"),
                at("They are moved by a process of its own, and veskctl waits",
                        "$ ./vesk ctl euq transfer 1 --wait 2>&1", 0),
                at("The result, which stays until the next start", "EuqJNI.getTransferEuqResult", 0),
                at("In words", "EuqJNI.getTransferEuqResult_s", Tour.ANY),
                at("The emptied area is given back", "EuqJNI.unregistEuq", 0, "AREA", "2"),
                at("All are removed", "$ ./vesk ctl euq remove --wait 2>&1", 0),
                at("In words", "EuqJNI.getRemoveEuqResult_s", Tour.ANY),
                at("Nothing to cancel", "EuqJNI.cancelTransferEuqData", 8));
    }
}
