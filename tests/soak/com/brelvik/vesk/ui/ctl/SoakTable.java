package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.UpdateComponent;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.stream.Collectors;

/**
 * The calls of the soak on the company of {@code tools/company.sh}, after {@link SetUpTour}. The cheap ones are made
 * often and those that start programs seldom, so that a machine of two processors makes a million in half an hour.
 */
final class SoakTable {
    /** Why a native method is not among the calls. */
    static final Map<String, String> ABSENT = Map.of("JniInit.initializeJNI",
            "belongs to the start of the process, once and alone, and was called there");

    private static final String BASE = "dc=example,dc=com";
    private static final String REALM = "@EXAMPLE.COM";
    private static final String PARENT = "parent.example.com";
    private static final String TLS_PORT = "636"; // the console takes it for LDAPS
    private static final String UNSET = "\n"; // a line without a value comes as it is
    private static final int OFTEN = 50_000;
    private static final int LOOKUP = 5_000;
    private static final int PROGRAM = 250;
    private static final int CHANGE = 200;
    private static final int LOCKED = 5 << 8; // another one kept the file for too long
    private static final Kept REFERENCE = new Kept(0, 0, 0, 1);
    private static final int JOB_RESULT = 64;
    private static final int SETTINGS = 16; // different texts: the store keeps each that was ever set

    private final Map<String, PeerMethod> methods =
            PeerMethod.all().stream().collect(Collectors.toMap(PeerMethod::name, method -> method));
    private final List<SoakCall> calls = new ArrayList<>();
    private final String folder;
    private final String directoryPort;
    private final List<String> agents;
    private final List<String> ports;

    /** @param folder as {@code tools/soak} fills it */
    SoakTable(String folder, String directoryPort) {
        this.folder = folder;
        this.directoryPort = directoryPort;
        this.agents = Tour.lines(folder + "/agents");
        this.ports = Tour.lines(folder + "/ports");
    }

    List<SoakCall> calls() {
        texts();
        directory();
        protectedDirectory();
        agents();
        messages();
        updates();
        signOn();
        reputation();
        quarantine();
        wizardReads();
        wizardWrites();
        parent();
        mailServer();
        return calls;
    }

    /** The look-ups of an owner: of an address that has one, and of one that has none. */
    List<SoakCall> owners() {
        return calls.stream().filter(call -> call.method().name().equals("LdapJNI.getUserByMail")).toList();
    }

    private void texts() {
        add("SystemJNI.getPID", OFTEN).answers(ProcessHandle.current().pid());
        add("SystemJNI.processRunning", OFTEN, "PID", "1").answers(0);
        add("SystemJNI.processRunning", OFTEN, "PID", "999999999").answers(-1);
        add("IPv6JNI.formatIPv6Addr", OFTEN, "ADDRESS", "2001:0DB8:0:0:A:0:0:1").answers("text")
                .shows("2001:db8::a:0:0:1");
        add("IPv6JNI.formatIPv6WithMask", OFTEN, "ADDRESS", "2001:db8:0:ffff::1/56").answers("text")
                .shows("2001:db8:0:ff00::/56");
        for (String check : List.of("IPAddr", "Gateway", "DNS")) {
            add("WzrdJNI.check" + check, OFTEN).answers(0);
        }
        add("PostfixJNI.exportPEMFile", OFTEN).answers(0);
        add("PostfixJNI.getPEMFile", OFTEN).answers(0);
        add("DbMaintainJNI.SaveSched", OFTEN).answers(0);
        add("SystemMonitorJNI.getVESKVersion", OFTEN).answers(0);
        add("SystemMonitorJNI.updateGlobalSetting", OFTEN, "VALUE", "", "SECTION", "soak", "KEY", "turn")
                .fresh(0, () -> Long.toString(System.nanoTime() % SETTINGS)).answers(0);
        add("UpdateJNI.getEncryptStr", OFTEN, "text", "secret").answers(0);
        add("UpdateJNI.getDecryptStr", OFTEN / 2, "text", "nonsense").answers(0).shows("");
        add("PolicyJNI.validateKeyword", LOOKUP, "EXPRESSION", "(invoice OR \"bill of *\") AND NOT draft").answers(0);
        add("PolicyJNI.validateKeyword", LOOKUP, "EXPRESSION", "(invoice OR bill").answers(516);
        add("KerberosJNI.getSpnFromKeytab", LOOKUP, "FILE", folder + "/realm/service.keytab").answers(0)
                .shows("HTTP/gate.example.com" + REALM).keepsTexts().keeps(REFERENCE);
        add("KerberosJNI.getSpnFromKeytab", LOOKUP, "FILE", "/dev/null").answers(0).shows("").keepsTexts();
        add("PostfixJNI.composeClientRestrictionFile", PROGRAM, "RULES", folder + "/rules", "TABLE",
                folder + "/soak.table").answers(0);
        add("LdapJNI.notifyLdapCacheSyncFail", LOOKUP).answers(0);
    }

    private void directory() {
        lookUp("checkBaseDN", LOOKUP).answers(0).without("directory", 201, 208);
        lookUp("authenticateUTF8", LOOKUP, "ACCOUNT", "uid=ann,ou=people," + BASE, "password", "secret-ann")
                .answers(0).without("directory", 201, 203);
        lookUp("authenticateUTF8", LOOKUP, "ACCOUNT", "uid=ann,ou=people," + BASE, "password", "guess")
                .answers(203).without("directory", 201);
        lookUp("isAccountExist", LOOKUP, "ACCOUNT", "ann").answers(0).without("directory", 201, 202);
        lookUp("isAccountExist", LOOKUP, "ACCOUNT", "nobody").answers(202).without("directory", 201);
        lookUp("searchLDAPUTF8", LOOKUP, "TEXT", "ring-*", "groups-only", "true").answers(0)
                .shows("ring-a ring-b ring-c").without("directory", 201, 205);
        lookUp("searchLDAPUTF8", LOOKUP, "TEXT", "*田中*", "groups-only", "false").answers(0)
                .without("directory", 201, 205);
        lookUp("browseLDAP", LOOKUP / 10, "groups-only", "false").answers(0).without("directory", 201, 205);
        lookUp("directSearchLDAPUTF8", LOOKUP, "FILTER", "(uid=ann)", "ATTRIBUTE", "uid").answers(0).shows("ann")
                .without("directory", 201, 205);
        lookUp("directSearchLDAPUTF8", LOOKUP, "FILTER", "(uid=", "ATTRIBUTE", "uid").answers(205)
                .without("directory", 201);
        lookUp("isLDAPGroupContainAnotherUTF8", LOOKUP, "MEMBER", "ann", "GROUP", "world").answers(0)
                .without("directory", 201, 204);
        lookUp("isLDAPGroupContainAnotherUTF8", LOOKUP, "MEMBER", "ann", "GROUP", "ring-a").answers(204)
                .without("directory", 201);
        lookUp("getUserByMail", LOOKUP, "ADDRESS", "ann@example.com").answers(0).shows("ann")
                .without("directory", 201, 205);
        lookUp("getUserByMail", PROGRAM / 2, "ADDRESS", "nobody@example.com").answers(0).shows("")
                .without("directory", 201, 205);
    }

    private void protectedDirectory() {
        lookUp("checkBaseDN", LOOKUP / 5, "port", TLS_PORT).answers(0).without("directory", 201, 208);
        lookUp("isAccountExist", LOOKUP / 5, "port", TLS_PORT, "ACCOUNT", "ann").answers(0)
                .without("directory", 201, 202);
        String[] kerberos = {"auth", "kerberos", "host", "localhost", "bind-user", "console" + REALM, "ACCOUNT",
            "ann" + REALM, "password", "secret-ann"};
        lookUp("authenticateUTF8", LOOKUP / 5, kerberos).answers(0).without("directory", 201, 203)
                .without("realm", 201, 203);
        lookUp("checkBaseDN", LOOKUP / 5, kerberos).answers(0).without("directory", 201, 208).without("realm", 201);
    }

    private void agents() {
        for (int agent = 0; agent < 2; agent++) {
            String[] address = agents.get(agent).split(":");
            List<SoakCall> asked = List.of(
                    agent("SystemMonitorJNI.testConnection", address).answers(0)
                            .shows("http://" + agents.get(agent)),
                    agent("SystemMonitorJNI.sendServiceCmd", address, "CODE", "3").answers(0));
            SoakCall event = agent("TorvaCommonJNI.sendSystemCmd", address, "CODE", "12").answers(300);
            SoakCall farewell = agent("SystemMonitorJNI.UnregisterNotify", address).answers(1);
            if (agent == 0) { // the other one is never away
                asked.forEach(call -> call.without("agent.1", 300));
                event.without("agent.1", 0);
                farewell.without("agent.1", 0);
            }
        }
        agent("SystemMonitorJNI.testConnection", agents.get(2).split(":")).answers(300);
        agent("SystemMonitorJNI.testConnection", new String[] {"127.0.0.1", "1"}).answers(300);
        add("SystemMonitorJNI.PostSetNotifyAllScanners", LOOKUP / 5, "ADDRESS", String.join(",", agents)).answers(0)
                .without("agent.1", -1);
        add("SystemMonitorJNI.PatchSetNotify", LOOKUP / 5, "TEXT", "patch 7.5.1").answers(0).without("agent.1", -1);
    }

    private void messages() {
        message("getMsgHeaderOrBody", "MESSAGE", "Q-1001", "archived", "false").answers(1).without("agent.1", 0);
        message("getMsgHeaderOrBody", "MESSAGE", "nothing", "archived", "false").answers(0);
        message("getMsgHeaderOrBody_P", "MESSAGE", "P-1101").answers(1).without("agent.1", 0);
        message("getEmail", "MESSAGE", "Q-1001", "FILE", "whole.eml", "archived", "false").answers(1)
                .without("agent.1", 0);
        message("getEmail_P", "MESSAGE", "P-1101", "FILE", "late.eml").answers(1).without("agent.1", 0);
        message("sendQueueManagementAction").answers(0);
        String page = "MTAlogJNI.getMTAEventSubmit";
        add(page, LOOKUP / 2, "agent", endpoint(), "mode", "0", "keyword", "", "paging", "5,0,0,1,0,0,0,0,0", "file", "")
                .answers(0);
        add(page, LOOKUP, "agent", endpoint(), "mode", "0", "keyword", "", "paging", "5,0,0,1,0,0,0,0", "file", "")
                .answers(500);
    }

    private void updates() {
        String one = UpdateComponent.selection(Set.of(UpdateComponent.SPAM_PATTERN));
        String both = UpdateComponent.selection(Set.of(UpdateComponent.SPAM_PATTERN, UpdateComponent.SPAM_ENGINE));
        add("UpdateJNI.isRunning", LOOKUP).answers(0, 601);
        add("UpdateJNI.getCurrentVersion", LOOKUP).answers(0);
        add("UpdateJNI.getAvailVersion", PROGRAM).answers(0);
        // Another one that is at work makes it fail at once.
        add("UpdateJNI.manualUpdate", PROGRAM, "source", "1", "COMPONENTS", both).answers(0, 500, 600);
        add("UpdateJNI.rollback", PROGRAM, "source", "1", "COMPONENTS", one).answers(0, 500);
    }

    private void signOn() {
        SessionIssuer console = SessionIssuer.read(Path.of(folder, "console/private.pem"));
        String guid = SessionIssuer.issuer(Tour.lines(folder + "/session").get(0));
        add("CorsaJNI.isSessionFromCORSA", LOOKUP / 2, "session", "").answers(0).fresh(0, () -> console.issue(guid));
        add("CorsaJNI.isSessionFromCORSA", LOOKUP, "session", "nonsense").answers(-4);
        add("CorsaJNI.isSessionFromCORSA", LOOKUP, "session",
                Tour.lines(folder + "/foreign").get(0)).answers(-6);
        // A session of the console's was accepted by the set-up. The appliance remembers at most 1,000 answered ones.
        add("CorsaJNI.CreateReponse", PROGRAM, "session", "").answers("text").fresh(0, () -> console.issue(guid));
        add("CorsaJNI.CreateReponse", LOOKUP / 2, "session", Tour.lines(folder + "/old").get(0)).answers("empty");
    }

    private void reputation() {
        String good = "https://localhost:" + ports.get(0);
        check(good, "", "").answers(0).without("reputation", 3, 5, 6, 7);
        check(good, ports.get(2), "secret").answers(0).without("reputation", 3, 4, 5, 6, 7);
        check(good, ports.get(2), "guess").answers(4).without("reputation", 3, 6, 7);
        check("https://localhost:" + ports.get(1), "", "").answers(5).without("reputation", 3, 6, 7);
        check("127.0.0.1:1", "", "").answers(3);
    }

    private void quarantine() {
        for (String turned : List.of("enableEuq", "enableDlMaintain", "disableDlMaintain")) {
            add("EuqJNI." + turned, LOOKUP / 5).answers(0);
        }
        add("EuqJNI.disableEuq", LOOKUP / 50).answers(0);
        add("EuqJNI.restartEuq", LOOKUP / 5).answers(0, 7);
        add("EuqJNI.init_euq_lib", LOOKUP).answers(true);
        for (String asked : List.of("isEuqEnable", "isDlMaintainEnable", "isTransferringEuqData", "isRemovingEuqData")) {
            add("EuqJNI." + asked, LOOKUP).answers(true, false);
        }
        add("EuqJNI.registEuq", LOOKUP / 5, "NAME", "scanner-a").answers(0, 4, 12).keepsTexts();
        add("EuqJNI.unregistEuq", LOOKUP / 5, "AREA", "2").answers(0, 3, 4, 11);
        // Two results at each start, and one with a text that is fetched after it.
        Kept results = new Kept(4 * JOB_RESULT, 0, 0, 0);
        add("EuqJNI.transferEuqData", PROGRAM, "AREA", "1").answers(0, 3, 4).keeps(results);
        add("EuqJNI.removeEuqData", PROGRAM).answers(0, 4).keeps(results);
        add("EuqJNI.cancelTransferEuqData", PROGRAM).answers(0, 8);
        for (String job : List.of("Transfer", "Remove")) {
            add("EuqJNI.get" + job + "EuqResult", LOOKUP).answers(-1, 0, 9);
            add("EuqJNI.get" + job + "EuqResult_s", LOOKUP).answers("text", "empty");
        }
    }

    private void wizardReads() {
        String[][] values = {{"Hostname", "gate.example.com"}, {"IPAddr", "192.0.2.20"},
            {"IPMask", "255.255.255.128"}, {"Ipv4Gateway", "192.0.2.1"}, {"Ipv6Gateway", "2001:db8::1"},
            {"Ipv4DNS1", "127.0.0.1"}, {"Ipv4DNS2", UNSET}, {"Ipv6DNS1", UNSET}, {"Ipv6DNS2", UNSET},
            {"CurrContinent", "Asia"}, {"CurrCountry", "Japan"}, {"CurrCity", "Tokyo"}, {"ChildVersion", "7.5"}, {"DBSvrIP", PARENT},
            {"ICPort", "eth1"}, {"IFDevList", "eth0 eth1"}};
        for (String[] value : values) {
            add("WzrdJNI.get" + value[0], PROGRAM).answers(0).shows(value[1]);
        }
        add("WzrdJNI.getIFV4Addr", PROGRAM, "DEVICE", "eth1").answers(0).shows("198.51.100.20");
        add("WzrdJNI.getIFV4NetMask", PROGRAM, "DEVICE", "eth1").answers(0).shows("255.255.255.0");
        add("WzrdJNI.getIFV6AddrMask", PROGRAM, "DEVICE", "eth0").answers(0).shows("2001:db8::20/64");
        add("WzrdJNI.isIPv6Enable", PROGRAM).answers(true, false);
        add("WzrdJNI.getSysDate", PROGRAM).answers(0);
        add("WzrdJNI.getSysTime", PROGRAM).answers(0);
        add("WzrdJNI.getContinentList", PROGRAM).answers(0);
        add("WzrdJNI.getCountryList", PROGRAM, "CONTINENT", "Asia").answers(0);
        add("WzrdJNI.getCityList", PROGRAM, "CONTINENT", "Asia", "COUNTRY", "Japan").answers(0).shows("Tokyo");
    }

    // What they set is what is set: readers know what to expect at any time. With so many at once, some wait in vain for
    // their turn.
    private void wizardWrites() {
        add("WzrdJNI.setHostname", CHANGE, "HOSTNAME", "gate.example.com").answers(0, LOCKED);
        String[][] addresses = {{"IPAddr", "192.0.2.20"}, {"Ipv4Gateway", "192.0.2.1"}, {"Ipv6Gateway", "2001:db8::1"},
            {"Ipv4DNS1", "127.0.0.1"}, {"Ipv4DNS2", ""}, {"Ipv6DNS1", ""}, {"Ipv6DNS2", ""}};
        for (String[] address : addresses) {
            add("WzrdJNI.set" + address[0], CHANGE, "ADDRESS", address[1]).answers(0, LOCKED);
        }
        add("WzrdJNI.setIPMask", CHANGE, "MASK", "255.255.255.128").answers(0, LOCKED);
        add("WzrdJNI.setICPort", CHANGE, "DEVICE", "eth1").answers(0, LOCKED);
        add("WzrdJNI.setIFV4Addr", CHANGE, "DEVICE", "eth1", "ADDRESS", "198.51.100.20", "MASK", "255.255.255.0")
                .answers(0, LOCKED);
        add("WzrdJNI.setIFV6Addr", CHANGE, "DEVICE", "eth0", "ADDRESS", "2001:db8::20", "PREFIX", "64")
                .answers(0, LOCKED);
        // What Postfix says of the same file is the answer.
        add("WzrdJNI.enableIPv6", CHANGE).answers(0);
        add("WzrdJNI.disableIPv6", CHANGE).answers(0);
        add("WzrdJNI.applyNetworkSettings", CHANGE).answers(0, 5, 7).within(120);
        add("WzrdJNI.setTimeZone", CHANGE, "CONTINENT", "Asia", "COUNTRY", "Japan", "CITY", "Tokyo")
                .answers(0, 4 << 8);
        add("WzrdJNI.setDateTime", CHANGE, "TIME", "2031-02-03 04:05:06").answers(0);
    }

    private void parent() {
        add("WzrdJNI.chkMasterDB", PROGRAM, "PARENT", PARENT).answers(0).within(120);
        add("WzrdJNI.getParentVersion", PROGRAM, "PARENT", PARENT).answers(0).shows("7.5").within(120);
        add("WzrdJNI.regToMaster", CHANGE, "PARENT", PARENT).answers(0, 4, 5).within(120);
        add("WzrdJNI.afterRegister", PROGRAM).answers(0);
        add("WzrdJNI.restartServices", CHANGE, "MODE", "1").answers(0, LOCKED).within(120);
        add("WzrdJNI.restartServices", CHANGE / 4, "MODE", "2").answers(0, 1 << 8).within(120);
        add("WzrdJNI.restartServices", CHANGE / 4, "MODE", "3").answers(0, 1 << 8).within(120);
        add("BackupJNI.doExport", CHANGE, "FILE", folder + "/soak.tgz").answers(0, 5, 6).within(120).keepsTexts();
        add("BackupJNI.doImport", CHANGE, "FILE", folder + "/saved.tgz", "MODE", "full").answers(0, 5, 6).within(120)
                .keepsTexts();
        add("PolicyJNI.notifyUpdatePolicyNow", PROGRAM, "FIRST", "all", "SECOND", "all", "THIRD",
                "admin@example.com").answers(0);
    }

    private void mailServer() {
        add("PostfixJNI.isPostfixExist", PROGRAM).answers(0);
        add("PostfixJNI.postfixReload", PROGRAM).answers(0);
        add("PostfixJNI.isKeyConfigured", PROGRAM, "KEY", "relayhost").answers(0);
        add("PostfixJNI.getPostconf", PROGRAM, "KEY", "relayhost").answers(0).shows("[relay.example.com]:25");
        add("PostfixJNI.setPostconf", PROGRAM, "KEY", "relayhost", "VALUE", "[relay.example.com]:25").answers(0);
        add("PostfixJNI.postmap", PROGRAM, "FILE", folder + "/clients").answers(0);
        add("PostfixJNI.checkPEMFormat", PROGRAM, "FILE", folder + "/gate.pem", "key", "false").answers(0);
        add("PostfixJNI.checkPEMFormat", PROGRAM, "FILE", folder + "/gate.pem", "key", "true").answers(105);
    }

    private String endpoint() {
        return "http://" + agents.get(0);
    }

    private SoakCall lookUp(String method, int share, String... arguments) {
        Map<String, String> all = new HashMap<>(Map.of("vendor", "openldap", "auth", "simple", "host", "127.0.0.1",
                "port", directoryPort, "base-dn", BASE, "bind-user", "uid=console,ou=people," + BASE, "bind-password",
                "secret-console"));
        all.putAll(byName(arguments));
        return add("LdapJNI." + method, share, all);
    }

    private SoakCall agent(String method, String[] address, String... arguments) {
        Map<String, String> all = byName(arguments);
        all.putAll(Map.of("host", address[0], "port", address[1]));
        return add(method, LOOKUP / 2, all);
    }

    private SoakCall message(String method, String... arguments) {
        Map<String, String> all = byName(arguments);
        all.put("agent", endpoint());
        return add("QuarantineJNI." + method, LOOKUP / 2, all).keepsTexts();
    }

    private SoakCall check(String server, String proxyPort, String password) {
        boolean proxy = !proxyPort.isEmpty();
        return add("QUORJNI.quorChkServerStatus", LOOKUP / 5, "SERVER", server, "use-proxy", proxy ? "1" : "0", "proxy",
                proxy ? "127.0.0.1" : "", "proxy-port", proxy ? proxyPort : "8080", "proxy-user", proxy ? "ann" : "",
                "proxy-password", password);
    }

    private SoakCall add(String method, int share, String... arguments) {
        return add(method, share, byName(arguments));
    }

    private SoakCall add(String method, int share, Map<String, String> arguments) {
        SoakCall call = new SoakCall(methods.get(method), share, arguments);
        calls.add(call);
        return call;
    }

    private static Map<String, String> byName(String... arguments) {
        return Tour.at("", "", Tour.ANY, arguments).arguments();
    }
}
