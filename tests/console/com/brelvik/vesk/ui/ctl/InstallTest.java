package com.brelvik.vesk.ui.ctl;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brelvik.vesk.ui.modelobjects.ResultCode;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.regex.MatchResult;
import java.util.regex.Pattern;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** Libraries that do not load, install roots with holes, and what belongs together. */
class InstallTest {
    private static final List<String> OTHERS = List.of("log/update-events.log", "data/update/components.json",
            "data/signon/guid-1");

    private Path root;
    private Path libraries;
    private Ctl ctl;

    @BeforeEach
    void copy() throws Exception {
        root = Folders.installRoot();
        libraries = Folders.copy(Ctl.BUILD.resolve("lib"), Files.createTempDirectory("vesk-lib"));
        ctl = new Ctl().with("VESK_HOME", root.toString()).library(libraries.resolve("libveskjni.so"));
    }

    @AfterEach
    void delete() throws Exception {
        Folders.delete(root);
        Folders.delete(libraries);
    }

    private void assertNotLoaded(String why) throws Exception {
        Ctl.Run run = ctl.run("call", "JniInit.initializeJNI");
        assertEquals(5, run.status(), run.err());
        assertTrue(run.err().contains(why), run.err());
    }

    @Test
    void aLibraryThatDoesNotLoadIsExplained() throws Exception {
        Path file = libraries.resolve("libveskjni.so");
        byte[] bytes = Files.readAllBytes(file);
        bytes[4] ^= 3;
        Files.write(file, bytes);
        int width = System.getProperty("sun.arch.data.model").equals("64") ? 32 : 64;
        assertNotLoaded("(" + width + "-bit): this VM is " + (96 - width) + "-bit");
        Files.writeString(file, "no library");
        assertNotLoaded("not a library");
        Files.delete(file);
        assertNotLoaded(file + ": no such file");
        Files.copy(Ctl.LIBRARY, file);
        Files.delete(libraries.resolve("libvesklog.so"));
        assertNotLoaded("it needs libvesklog.so");
        ctl.library(Path.of("libveskjni.so"));
        assertNotLoaded("must be a full path");
    }

    @Test
    void aLibraryOfAnotherBuildIsNamedAndServesAllTheSame() throws Exception {
        Path file = libraries.resolve("libveskjni.so");
        byte[] bytes = Files.readAllBytes(file);
        byte[] banner = "-Build_Linux_".getBytes(StandardCharsets.US_ASCII);
        int at = new String(bytes, StandardCharsets.ISO_8859_1).indexOf("-Build_Linux_") + banner.length;
        bytes[at] = (byte) (bytes[at] == '9' ? '8' : '9');
        Files.write(file, bytes);
        Ctl.Run run = ctl.run("call", "JniInit.initializeJNI");
        assertEquals(0, run.status(), run.err());
        assertEquals(1, run.err().split("install both from one build", -1).length - 1, run.err());
    }

    @Test
    void theDoctorFindsNothingInAWholeInstall() throws Exception {
        Ctl.Run run = ctl.run("doctor");
        assertEquals(0, run.status(), run.out());
        // The appliance's own tools are on an appliance only.
        assertFalse(run.lines().stream().anyMatch(line -> line.matches("FAILED.*|warning ++(?!tools).*")), run.out());
        for (String part : List.of("libveskdirectory.so", "ds389/ldapscript.conf", "initializeJNI answered 0")) {
            assertTrue(run.out().contains(part), run.out());
        }
    }

    @Test
    void holesInTheInstallRootAreNamed() throws Exception {
        Files.delete(root.resolve("ldap/openldap/ldapscript.conf"));
        Files.delete(root.resolve("bin/pemverify"));
        Files.writeString(root.resolve("resource/messages/ja.res"), "");
        Files.writeString(root.resolve("data"), "");
        Ctl.Run run = ctl.run("doctor", "--json");
        assertEquals(3, run.status());
        assertTrue(run.out().contains("SHA256SUMS is not the sum of ja.res\""), run.out());
        assertTrue(run.out().startsWith("{\"ok\":false,"), run.out());
        assertTrue(run.out().contains(root + "/bin/pemverify is missing or cannot be run"), run.out());
        assertTrue(run.out().contains(root + "/data is no folder that this account may read and write"), run.out());
        Files.delete(root.resolve("data"));
        Files.writeString(Files.createDirectory(root.resolve("data")).resolve("euq"), "");
        for (String foreign : OTHERS) {
            Files.createDirectories(root.resolve(foreign).getParent());
            Files.createSymbolicLink(root.resolve(foreign), Path.of("/usr/bin/env")); // not even root may write there
        }
        String data = new Ctl().with("VESK_HOME", root.toString()).sandboxed().run("doctor").out();
        assertTrue(data.contains(root + "/data/euq is no folder that this account may read and write"), data);
        for (String foreign : OTHERS) {
            assertTrue(data.contains(root.resolve(foreign) + " cannot be written by this account"), data);
        }
        assertTrue(run.out().contains("openldap/ldapscript.conf is missing\",\"cure\":\"put "), run.out());
        Path settings = root.resolve("config/vesk.ini");
        Files.writeString(settings, "[log_level]\nui : DETAIL\n no sign here\n");
        assertRefused(settings + ":3: syntax error");
        Files.delete(settings);
        assertRefused(settings + " is missing");
        ctl.with("VESK_HOME", null);
        assertRefused("VESK_HOME is not set");
    }

    @Test
    void commandsThatAreNoneAreNamed() throws Exception {
        Ctl.Run run = ctl.run("dokter");
        assertEquals(2, run.status());
        assertTrue(run.err().contains("no such command: dokter\n"), run.err());
        run = ctl.run("kerberos", "spn", "one", "--fast");
        assertEquals(2, run.status());
        assertTrue(run.err().contains("'--fast'") && !run.err().contains("argument too many"), run.err());
        run = ctl.run("kerberos", "spn", "one", "two", "--json");
        assertEquals(2, run.status());
        assertTrue(run.out().contains("\"happened\":\"one argument too many: two\""), run.out());
    }

    @Test
    void settingsAreRefusedWhenTheLibraryWouldAndOnlyThen() throws Exception {
        Path settings = root.resolve("config/vesk.ini");
        String name = "é".repeat(25);
        for (String text : List.of("\u3000", "\u001c", "[log\0]", "[" + name + "]\nkey=1")) {
            Files.writeString(settings, text);
            assertEquals(3, ctl.run("call", "JniInit.initializeJNI").status(), text);
        }
        Files.writeString(settings, "#".repeat((16 << 20) + 1));
        assertRefused(settings + " is larger than 16 MiB");
        Files.writeString(settings, "\ufeff\u000b[" + name + "]\r\n[log]\nfile=elsewhere/old\nfile : new/ä.log\n"
                + "[log_level]\nui =\n[general]\nlog_level=detailed\n");
        String found = ctl.run("doctor").out();
        for (String part : List.of("level DETAIL\n", "ok       log        " + root + "/new/ä.log", "answered 0")) {
            assertTrue(found.contains(part), found);
        }
        assertTrue(Files.exists(root.resolve("new/ä.log")));
    }

    @Test
    void filesThatTheLocaleCannotNameAreRefused() throws Exception {
        ctl.with("LC_ALL", "C").with("VESK_HOME", "/nonexistent/é");
        assertRefused("the VM cannot name /nonexistent/é");
        Ctl.Run run = ctl.run("directory", "check-base", "--base-dn=dc=x", "--bind-user=x", "--password-file=/é");
        assertEquals(3, run.status());
        assertTrue(run.err().contains("run in a UTF-8 locale"), run.err());
    }

    // The library would end the process with status 0.
    private void assertRefused(String why) throws Exception {
        assertTrue(ctl.run("doctor").out().contains(why));
        Ctl.Run run = ctl.run("directory", "check-base", "--base-dn", "dc=example,dc=com");
        assertEquals(3, run.status());
        assertTrue(run.err().contains("happened: " + why), run.err());
    }

    @Test
    void codesAreTheLibrarysAndTheDocumentsOnes() throws Exception {
        String header = Files.readString(Ctl.SOURCE.resolve("include/ResultCode.h"));
        List<Integer> promised = Pattern.compile("constexpr jint \\w+ = (\\d+);").matcher(header).results()
                .map(MatchResult::group).map(line -> Integer.valueOf(line.replaceAll("\\D", ""))).distinct().sorted()
                .toList();
        assertEquals(promised, Arrays.stream(ResultCode.values()).map(ResultCode::code).sorted().toList());
        String document = Files.readString(Ctl.SOURCE.resolve("docs/result-codes.md"));
        assertTrue(document.contains(ctl.run("code", "--markdown").out()), "run veskctl code --markdown");
        assertTrue(ctl.run("code", "206").out().contains("check-base"));
        assertTrue(ctl.run("code", "-1").out().contains("\n-1 NO_ADMINISTRATOR (LdapJNI."));
        assertTrue(ctl.run("code", "10").out().startsWith("10 INTERRUPTED (EuqJNI)\n"));
    }

    @Test
    void oldConsolesCanReadThePeers() throws Exception {
        try (InputStream peer = ResultCode.class.getResourceAsStream("jni/LdapJNI.class")) {
            assertEquals(52, peer.readNBytes(8)[7]);
        }
    }
}
