package com.brelvik.vesk.ui.ctl;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.brelvik.vesk.ui.modelobjects.jni.Arg;
import java.lang.reflect.Parameter;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Setting up an appliance: what is kept from the shell, what commands answer, and all of it in the sandbox. */
class SetUpTest {
    private static final String UNFIT_WITHOUT_QUOTES = " \t\n\r\0\"'`$\\;&|<>()[]{}*?#~!^%=,@\u007f\u00e9";

    private static PeerMethod method(String name) {
        return PeerMethod.all().stream().filter(known -> known.name().equals(name)).findFirst().orElseThrow();
    }

    @ParameterizedTest
    @CsvSource(delimiter = '|', quoteCharacter = '%', textBlock = """
            WzrdJNI.setHostname | 0 | a 1-a.b--c.x1 3com.x | 1.2.3.4 a.1 -a a- a..b a. .a a_b
            WzrdJNI.setHostname | 0 | a | aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa.bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb
            WzrdJNI.chkMasterDB | 0 | 1.2.3.4 ::1 a fe80::1 | 1.2.3 256.1.1.1 1.2.3.4.5 ::1/64 fe80::1%eth0 [::1]
            WzrdJNI.setIPAddr | 0 | 0.0.0.0 255.255.255.255 | 1.2.3 1.2.3.4.5 1.2.3.256 01.2.3.4 1..2.3 +1.2.3.4
            WzrdJNI.setIPMask | 0 | 255.255.255.255 128.0.0.0 | 0.0.0.0 255.0.255.0 0.0.0.255 255.255.255.253 24
            WzrdJNI.setIpv6Gateway | 0 | :: 1:2:3:4:5:6:7:8 ::1.2.3.4 | : 1::2::3 1:2:3:4:5:6:7 g:: 12345:: 1.2.3.4 .::1 ab
            WzrdJNI.setIFV6Addr | 2 | 1 64 99 100 128 | 0 129 064 -1 +64 1280
            WzrdJNI.setICPort | 0 | eth0 eth0.1:2_- abcdefghijklmno | abcdefghijklmnop ../x -a .
            WzrdJNI.setTimeZone | 2 | New_York Etc/GMT+1 Rep. | é
            WzrdJNI.setDateTime | 0 | 2028-02-29#23:59:59 | 2027-02-29#01:00:00 2027-01-01#24:00:00 2027-01-01
            PostfixJNI.postmap | 0 | /etc/a-b_c.d x | -x é
            PostfixJNI.getPostconf | 0 | smtp2_x | a-b a.b ^a
            BackupJNI.doImport | 1 | a-b:c._9 | -x a/b
            IPv6JNI.formatIPv6WithMask | 0 | ::1 ::/0 1::/9 ::/128 | ::/129 ::/08 ::/ ::/#+5x 1.2.3.4/8 ::/-1 ::/1/2
            """)
    void aTextForAShellIsWellFormed(String method, int index, String good, String bad) {
        Parameter parameter = method(method).parameters().get(index);
        for (String text : good.split(" ")) {
            String fit = text.replace('#', ' ');
            assertEquals(fit, Values.of(parameter, fit));
            UNFIT_WITHOUT_QUOTES.chars().forEach(c -> {
                assertRefused(parameter, fit + (char) c);
                assertRefused(parameter, (char) c + fit);
            });
        }
        List.of(bad.split(" ")).forEach(text -> assertRefused(parameter, text.replace('#', ' ')));
    }

    @ParameterizedTest
    @CsvSource(delimiter = '|', quoteCharacter = '%', textBlock = """
            WzrdJNI.getCountryList | 0 | "'`$\\  | a;b&(c)
            BackupJNI.doExport     | 0 | '       | /a "$b`c\\;
            PostfixJNI.setPostconf | 1 | '       | -x "$b`c\\;,
            WzrdJNI.setHostname | 0 | _ | aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa.bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb
            PolicyJNI.notifyUpdatePolicyNow | 2 | '`$\\;&<> /* | -a:b_c.d+e@xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx
            """)
    void whatStandsInQuotesMayHoldMore(String method, int index, String unfit, String fit) {
        Parameter parameter = method(method).parameters().get(index);
        assertEquals(fit, Values.of(parameter, fit));
        (unfit + "\n\r\0").chars().forEach(c -> assertRefused(parameter, "a" + (char) c + "b"));
    }

    private static void assertRefused(Parameter parameter, String text) {
        Refusal refusal = assertThrows(Refusal.class, () -> Values.of(parameter, text), text);
        assertEquals(Status.REFUSED, refusal.status());
        assertTrue(refusal.next().startsWith("give "), refusal.next());
    }

    @Test
    void everyTextThatReachesAShellHasAShape() {
        for (PeerMethod method : PeerMethod.all()) {
            boolean asksShell = method.name().matches("(Wzrd|Postfix|Backup)JNI.*|PolicyJNI.notify.*")
                    && method.command() != null;
            for (Parameter parameter : asksShell ? method.parameters() : List.<Parameter>of()) {
                if (parameter.getType() == String.class) {
                    Arg arg = PeerMethod.describe(parameter);
                    assertNotEquals(Arg.Shape.TEXT, arg.shape(), method.name());
                    // Addresses of interfaces are short, and rule files reach no shell.
                    assertTrue(arg.bytes() < 1024 || method.command().room() < 2048 || arg.shape() == Arg.Shape.FILE
                            || method.name().matches(".*IF.*"), method.name());
                }
            }
        }
    }

    @ParameterizedTest
    @CsvSource(delimiter = '|', textBlock = """
            WzrdJNI.setHostname | 0     | 0   | 0 SUCCESS, done
            WzrdJNI.setHostname | 100   |     | 100 COMMAND_NOT_FORMED, the command line could not be formed
            WzrdJNI.setHostname | 768   | 3   | 768: the command ended with exit code 3
            WzrdJNI.setHostname | 32512 | 127 | 32512: the command ended with exit code 127: it is not there
            WzrdJNI.setHostname | 9     |     | 9: the command was ended by signal 9
            WzrdJNI.setHostname | -1    |     | -1: no shell could be started
            BackupJNI.doExport  | 100   | 100 | 100: the command ended with exit code 100
            BackupJNI.doExport  | 500   |     | 500 NULL_ARGUMENT, a required argument was null
            LdapJNI.checkBaseDN | 768   |     | 768, which is no result code
            """)
    void statusesAreToldInWords(String method, int code, Integer exit, String words) {
        assertEquals(words, Meaning.describe(method(method), code));
        assertEquals(exit, Meaning.exit(method(method), code));
    }

    @Test
    void aCommandGetsItsArgumentWholeOrNotAtAll() throws Exception {
        Path root = Folders.installRoot();
        Path script = root.resolve("script/imp_exp.sh");
        Files.writeString(script, "#!/bin/sh\nprintf '%s|' \"$@\" >\"$VESK_HOME/said\"\nexit 3\n");
        Ctl ctl = new Ctl().with("VESK_HOME", root.toString());
        String longest = "x".repeat(2022 - root.toString().length());
        Ctl.Run run = ctl.run("host", "export", longest, "--json");
        assertEquals(4, run.status(), run.err());
        assertEquals("{\"call\":\"BackupJNI.doExport\",\"code\":3,\"exit\":3,\"name\":null,"
                + "\"meaning\":\"the command ended with exit code 3\"}\n", run.out());
        assertEquals("-e|" + longest + "|", Files.readString(root.resolve("said")));
        for (List<String> refused : List.of(List.of("host", "export", longest + "x"),
                List.of("call", "BackupJNI.doExport", longest + "x"), List.of("call", "BackupJNI.doExport", "a' 'b"))) {
            Files.delete(root.resolve("said"));
            assertEquals(3, ctl.run(refused).status());
            assertFalse(Files.exists(root.resolve("said")));
            Files.createFile(root.resolve("said"));
        }
        ctl.run("call", "--unchecked", "BackupJNI.doExport", "a' 'b");
        assertEquals("-e|a|b|", Files.readString(root.resolve("said")));
        root = Files.move(root, Path.of(root + " x"));
        run = ctl.with("VESK_HOME", root.toString()).run("host", "export", "/x");
        assertTrue(run.status() == 3 && run.err().contains("stands without quotes"), run.err());
        Folders.delete(root);
    }

    @Test
    void aDryRunShowsTheCommandsOfTheLibraryAndRunsNone() throws Exception {
        Path root = Folders.installRoot();
        Files.writeString(root.resolve("script/imp_exp.sh"), "#!/bin/sh\n: >\"$VESK_HOME/ran\"\n");
        Ctl ctl = new Ctl().with("VESK_HOME", root.toString());
        String longest = "é$x\"`" + "y".repeat(993);
        assertEquals("postconf -e 'relayhost=" + longest + "'\n",
                ctl.run("postfix", "set", "relayhost", longest, "--dry-run").out());
        assertEquals(3, ctl.run("postfix", "set", "relayhost", longest + "y", "--dry-run").status());
        assertEquals(List.of("S99ADMINUI stop &", "is_euq_enable.sh", "dbctl.sh stop &"),
                ctl.run("wizard", "after-register", "--dry-run").lines().stream()
                        .map(line -> line.replaceFirst("/opt/brelvik/vesk/script/", "")).toList());
        assertEquals("{\"call\":\"BackupJNI.doImport\",\"commands\":[\"" + root
                + "/script/imp_exp.sh -i '@null' 'full'\"]}\n",
                ctl.run("host", "import", "@null", "full", "--dry-run", "--json").out());
        Path libraries = Folders.copy(Ctl.BUILD.resolve("lib"), Files.createTempDirectory("vesk-lib"));
        Files.writeString(libraries.resolve("libveskdryrun.so"), "no library");
        Ctl.Run run = ctl.library(libraries.resolve("libveskjni.so")).run("host", "export", "/x", "--dry-run");
        assertTrue(run.status() == 5 && run.err().contains("libveskdryrun.so was not loaded"), run.err());
        assertFalse(Files.exists(root.resolve("ran")));
        Folders.delete(libraries);
        Folders.delete(root);
    }

    @Test
    void answersThatAreNoCodesArePlain() throws Exception {
        Path root = Folders.installRoot();
        Ctl ctl = new Ctl().with("VESK_HOME", root.toString());
        Ctl.Run run = ctl.run("host", "pid");
        assertTrue(run.status() == 0 && run.out().matches("\\d+\n"), run.out() + run.err());
        assertEquals("2001:db8::/32\n", ctl.run("host", "ipv6-network", "2001:DB8::1/32").out());
        run = ctl.run("host", "ipv6", "1.2.3.4");
        assertEquals("1 no: it is no IPv6 address\n", run.status() + " " + run.out() + run.err());
        assertEquals("{\"call\":\"IPv6JNI.formatIPv6Addr\",\"value\":\"\"}\n",
                ctl.run("host", "ipv6", "", "--json").out());
        ctl = new Ctl().sandboxed();
        assertEquals("yes\n", ctl.run("wizard", "ipv6").out());
        run = ctl.run("wizard", "cities", "Europe", "Atlantis");
        assertTrue(run.status() == 4 && run.err().contains("no such continent or country"), run.err());
        assertEquals("52428800\n", ctl.run("postfix", "get", "message_size_limit").out());
        Folders.delete(root);
    }

    @Test
    void theTourOfTheSetUpMeetsNoSurprise() throws Exception {
        Path folder = Files.createTempDirectory("set-up");
        folder.toFile().setExecutable(true, false);
        Process database = new ProcessBuilder(Ctl.SOURCE.resolve("tools/private-postgres").toString(), "--dir",
                folder.resolve("parent").toString()).redirectErrorStream(true)
                .redirectOutput(ProcessBuilder.Redirect.DISCARD).start();
        try {
            for (int i = 0; i < 1200 && !Files.exists(folder.resolve("parent/.s.PGSQL.5432")); i++) {
                assertTrue(database.isAlive());
                Thread.sleep(50);
            }
            Ctl.Run run = new Ctl().sandboxed().run("demo", "--set-up", folder.toString());
            assertEquals(0, run.status(), run.out() + run.err());
            assertTrue(run.out().matches("(?s).*\n[6-9]\\d calls, 0 with another answer .*"), run.out());
            assertFalse((run.out() + run.err()).contains("WARNING"), run.err());
            run = new Ctl().with("VESK_HOME", Ctl.BUILD.toString()).run("demo", "--set-up", folder.toString());
            assertTrue(run.status() == 3 && run.err().contains("would change this machine"), run.err());
        } finally {
            database.destroy();
            database.waitFor();
            Folders.delete(folder);
        }
    }
}
