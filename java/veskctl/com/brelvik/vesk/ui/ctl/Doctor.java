package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.LdapVendor;
import com.brelvik.vesk.ui.modelobjects.jni.NativeLibrary;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.GeneralSecurityException;
import java.security.MessageDigest;
import java.util.ArrayList;
import java.util.HexFormat;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Callable;
import java.util.concurrent.TimeUnit;
import java.util.stream.Stream;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;

@Command(name = "doctor", header = "Check what the native library needs, and name what is missing.",
        description = {"", "The exit status is that of the worst finding: 3 install root, 4 initialisation, 5 library. "
                + "Paste the output into a bug report."})
final class Doctor implements Callable<Integer> {
    private static final int CHILD_SECONDS = 60;
    private static final int FEWEST_DESCRIPTORS = 1024;

    @Option(names = "--json", description = "Answer as one line of JSON")
    private boolean json;

    @Option(names = {"-h", "--help"}, usageHelp = true, description = "Show this help")
    private boolean help;

    private final List<Finding> findings = new ArrayList<>();

    /** One thing looked at; {@code cure} is null when nothing is wrong with it. */
    record Finding(String subject, String detail, String cure, Status status) {
        Map<String, Object> toMap() {
            Map<String, Object> map = new LinkedHashMap<>();
            map.put("subject", subject);
            map.put("ok", cure == null);
            map.put("warning", cure != null && status == Status.DONE);
            map.put("detail", detail);
            map.put("cure", cure);
            return map;
        }

        void print() {
            String verdict = cure == null ? "ok" : status == Status.DONE ? "warning" : "FAILED";
            Output.data(String.format("%-8s %-10s %s", verdict, subject, detail));
            if (cure != null) {
                Output.data(" ".repeat(20) + "do: " + cure);
            }
        }
    }

    @Override
    public Integer call() {
        good("vm", System.getProperty("java.vm.name") + " " + System.getProperty("java.vm.version") + ", "
                + NativeLibrary.widthOfVm() + "-bit, " + System.getProperty("java.home"));
        limits();
        boolean loaded = library();
        kerberos();
        InstallRoot root = settings();
        if (root != null) {
            folders(root);
            tools(root);
            findings.addAll(new Supplies(root).findings());
        }
        if (loaded && root != null) {
            initialise();
        }
        return report();
    }

    private int report() {
        Status worst = findings.stream().map(Finding::status).max(Status::compareTo).orElse(Status.DONE);
        if (json) {
            Map<String, Object> map = new LinkedHashMap<>();
            map.put("ok", worst == Status.DONE);
            map.put("findings", findings.stream().map(Finding::toMap).toList());
            Output.out().println(Json.of(map));
        } else {
            findings.forEach(Finding::print);
        }
        return worst.number();
    }

    private void good(String subject, String detail) {
        findings.add(new Finding(subject, detail, null, Status.DONE));
    }

    private void bad(Status status, String subject, String detail, String cure) {
        findings.add(new Finding(subject, detail, cure, status));
    }

    // The soft limit is the one that counts: it stands first.
    private void limits() {
        linesOf(Path.of("/proc/self/limits")).filter(line -> line.startsWith("Max open files")).forEach(line -> {
            String shown = line.strip().replaceAll(" +", " ");
            String soft = shown.split(" ")[3];
            if (soft.equals("unlimited") || Long.parseLong(soft) >= FEWEST_DESCRIPTORS) {
                good("limits", shown);
            } else {
                bad(Status.DONE, "limits", shown, "raise ulimit -n to " + FEWEST_DESCRIPTORS
                        + " at least: notifications to a large fleet of agents go out in smaller groups");
            }
        });
    }

    private boolean library() {
        try {
            NativeLibrary.load();
        } catch (UnsatisfiedLinkError e) {
            bad(Status.NOT_LOADABLE, "library", e.getMessage(), "as it says");
            return false;
        }
        Path file = NativeLibrary.file();
        String build = NativeLibrary.buildOf(file);
        String detail = file + ", " + NativeLibrary.widthOf(file) + "-bit, build " + build;
        if (build != null && build.equals(NativeLibrary.buildOfJar())) {
            good("library", detail);
        } else {
            bad(Status.DONE, "library", detail + ", but the jar is build " + NativeLibrary.buildOfJar(),
                    "install library and jar from one build");
        }
        List<String> loaded = linesOf(Path.of("/proc/self/maps")).map(line -> line.replaceFirst("^[^/]*", ""))
                .filter(path -> path.matches(".*/lib(vesk|ldap|sasl2|krb5|gssapi_krb5|gnutls|gmime|icuuc|curl|ssl"
                        + "|crypto|pugixml|archive|pcre2|sqlite3|odbc)[^/]*"))
                .distinct().toList();
        loaded.forEach(path -> good("loaded", path));
        loaded.stream().filter(path -> path.contains("/libsasl2")).findFirst().ifPresent(this::sasl);
        return true;
    }

    private InstallRoot settings() {
        try {
            InstallRoot root = InstallRoot.open();
            good("settings", root.path().resolve("config/vesk.ini") + ", log level " + root.logLevel());
            return root;
        } catch (Refusal e) {
            bad(e.status(), "settings", e.getMessage(), e.next());
            return null;
        }
    }

    private void folders(InstallRoot root) {
        try {
            log(RawProcess.path(root.log()).toAbsolutePath());
            queue(root);
            data(root.path().resolve("data"));
        } catch (Refusal e) {
            bad(e.status(), "folders", e.getMessage(), e.next());
        }
        texts(root.path().resolve("resource/messages/SHA256SUMS"));
        for (LdapVendor vendor : LdapVendor.values()) {
            Path script = root.script(vendor);
            if (Files.isReadable(script)) {
                good("script", script.toString());
            } else {
                bad(Status.REFUSED, "script", script + (Files.exists(script) ? " cannot be read" : " is missing"),
                        "put the vendor's script there; until then the generic one serves");
            }
        }
    }

    // What methods run by a fixed path, and what they leave to the search path to find.
    private void tools(InstallRoot root) {
        String script = "/opt/brelvik/vesk/script/";
        List<String> missing = new ArrayList<>(Stream.of("/opt/Brelvik/Stonebay/bin/glcfg", "/etc/tzselect",
                "/etc/clish/scripts/ifenum.sh", "/etc/clish/scripts/ifcfg.sh", "/etc/clish/scripts/ifcfg6.sh",
                "/etc/clish/scripts/ipv6.sh", "/sbin/hwclock", script + "cfgtool.sh", script + "S99MANAGER",
                script + "S99ADMINUI", script + "is_euq_enable.sh", script + "dbctl.sh",
                "/opt/brelvik/vesk/postfix/usr/sbin/postconf", root.path() + "/script/imp_exp.sh",
                root.path() + "/script/forceUpdate.sh", root.path() + "/bin/pemverify",
                root.path() + "/bin/close_handle_sh").filter(tool -> !Files.isExecutable(Path.of(tool))).toList());
        String search = String.valueOf(System.getenv("PATH"));
        Stream.of("postconf", "postmap", "postfix").filter(tool -> Stream.of(search.split(":"))
                .noneMatch(folder -> Files.isExecutable(Path.of(folder, tool)))).forEach(missing::add);
        missing.forEach(tool -> bad(Status.DONE, "tools", tool + " is missing or cannot be run",
                "install it, or run on an appliance; methods that need it fail"));
        if (missing.isEmpty()) {
            good("tools", "all found");
        }
    }

    private void texts(Path sums) {
        List<String> wrong = linesOf(sums).map(line -> line.split(" +\\*?", 2)).filter(line -> line.length < 2
                || !line[0].equals(sha256(sums.resolveSibling(line[1])))).map(line -> line[line.length - 1]).toList();
        if (Files.isReadable(sums) && wrong.isEmpty()) {
            good("texts", sums.getParent().toString());
        } else {
            bad(Status.DONE, "texts", wrong.isEmpty() ? sums + " cannot be read, so notifications are in English"
                    : sums + " is not the sum of " + String.join(", ", wrong), "install the folder again");
        }
    }

    private static String sha256(Path file) {
        try {
            return HexFormat.of().formatHex(MessageDigest.getInstance("SHA-256").digest(Files.readAllBytes(file)));
        } catch (IOException | GeneralSecurityException e) {
            return "";
        }
    }

    // Only who has an administrator to tell needs it.
    private void queue(InstallRoot root) {
        String folder = root.queue();
        Path path = RawProcess.path(folder);
        if (root.setting("General-Notification", "Administrator").isEmpty()) {
            good("queue", folder + ", not used: no Administrator is set in section General-Notification");
        } else if (Files.isDirectory(path) && Files.isWritable(path)) {
            good("queue", folder);
        } else {
            bad(Status.REFUSED, "queue", folder + " is no folder that this account may write to",
                    "make it, or set queue_notify in section general");
        }
    }

    // Whoever needs one of these first makes it.
    private void data(Path folder) {
        Path made = Files.exists(folder) ? folder : folder.getParent();
        List<Path> folders = Stream.of(made, folder.resolve("update"), folder.resolve("signon"), folder.resolve("euq"))
                .filter(Files::exists).toList();
        List<Path> closed = folders.stream().filter(path -> !(Files.isDirectory(path) && Files.isReadable(path)
                && Files.isWritable(path))).toList();
        closed.forEach(path -> bad(Status.REFUSED, "data", path + " is no folder that this account may read and write",
                "make it one: updates, sign-on and the quarantine keep theirs there"));
        // What another account began belongs to that one.
        List<Path> others = Stream.concat(folders.stream().skip(1).flatMap(Doctor::entries),
                Stream.of(folder.resolveSibling("log/update-events.log")))
                .filter(path -> Files.exists(path) && !Files.isWritable(path)).toList();
        others.forEach(path -> bad(Status.REFUSED, "data", path + " cannot be written by this account",
                "give it to the account that the console has, with all that is in it"));
        if (closed.isEmpty() && others.isEmpty()) {
            good("data", folder.toString());
        }
    }

    private static Stream<Path> entries(Path folder) {
        try (Stream<Path> entries = Files.list(folder)) {
            return entries.toList().stream();
        } catch (IOException | UncheckedIOException e) {
            return Stream.empty(); // closed, which is told already
        }
    }

    private void kerberos() {
        Krb5Config machine = Krb5Config.find();
        if (machine.isReadable()) {
            good("krb5", machine.files() + ", default realm " + machine.defaultRealm());
        } else {
            bad(Status.DONE, "krb5", machine.files() + " is missing or cannot be read",
                    "write it before a directory is asked with Kerberos");
        }
    }

    // libsasl2, wherever it was loaded from, looks for its mechanisms in a folder beside it.
    private void sasl(String loaded) {
        Path folder = Path.of(loaded).resolveSibling("sasl2");
        if (hasGssapi(folder)) {
            good("sasl", folder + ", GSSAPI");
        } else {
            bad(Status.DONE, "sasl", "no GSSAPI in " + folder,
                    "install libsasl2-modules-gssapi-mit before a directory is asked with Kerberos");
        }
    }

    private static boolean hasGssapi(Path folder) {
        try (Stream<Path> files = Files.list(folder)) {
            return files.anyMatch(file -> file.getFileName().toString().startsWith("libgssapiv2.so"));
        } catch (IOException e) {
            return false;
        }
    }

    // The library makes the file's folder when it is missing, but not the folder above.
    private void log(Path log) {
        Path folder = log.getParent();
        Path made = folder == null || Files.exists(folder) ? folder : folder.getParent();
        boolean isOpen = made != null && Files.isDirectory(made) && Files.isWritable(made);
        if (isOpen && (!Files.exists(log) || Files.isRegularFile(log) && Files.isWritable(log))) {
            good("log", log.toString());
        } else {
            bad(Status.REFUSED, "log", log + " cannot be written", "make it a file, in a folder, that this account may "
                    + "write to");
        }
    }

    // In a VM of its own, since the library ends the process when it does not like the settings.
    private void initialise() {
        ProcessBuilder child = new ProcessBuilder(Path.of(System.getProperty("java.home"), "bin/java").toString(),
                "-D" + NativeLibrary.PROPERTY + "=" + NativeLibrary.file(), "-cp",
                System.getProperty("java.class.path"), Main.class.getName(), "call", "--json",
                "JniInit.initializeJNI").redirectErrorStream(true);
        try {
            Path said = Files.createTempFile("veskctl", ".txt");
            try {
                Process process = child.redirectOutput(said.toFile()).start();
                boolean ended = process.waitFor(CHILD_SECONDS, TimeUnit.SECONDS);
                process.destroyForcibly();
                judge(ended, Files.readString(said).strip());
            } finally {
                Files.delete(said);
            }
        } catch (IOException | InterruptedException e) {
            bad(Status.FAILED, "initialise", "no second VM could be started: " + e.getMessage(), "free some memory");
        }
    }

    private void judge(boolean ended, String said) {
        if (!ended) {
            bad(Status.FAILED, "initialise", "no answer in " + CHILD_SECONDS + " s", "look at the end of the log");
        } else if (said.contains("\"code\":0,")) {
            good("initialise", "initializeJNI answered 0");
        } else {
            bad(Status.FAILED, "initialise", "the library said: " + said, "look at the end of the log");
        }
    }

    private static Stream<String> linesOf(Path file) {
        try {
            return Files.readAllLines(file).stream();
        } catch (IOException e) {
            return Stream.of();
        }
    }
}
