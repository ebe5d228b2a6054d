package com.brelvik.vesk.ui.ctl;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayOutputStream;
import java.io.DataOutputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.List;
import java.util.Map;
import java.util.stream.Stream;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** The methods that need no server: what they leave in files, and what is said of it. */
class ApplianceTest {
    private Path root;
    private Path queue;
    private Ctl ctl;

    @BeforeEach
    void layOut() throws Exception {
        queue = Files.createTempDirectory("queue");
        root = Folders.installRoot("[General-Notification]", "Administrator = ann@example.com", "[general]",
                "queue_notify = " + queue);
        ctl = new Ctl().with("VESK_HOME", root.toString());
    }

    @AfterEach
    void delete() throws Exception {
        Folders.delete(root);
        Folders.delete(queue);
    }

    @Test
    void whetherTheMailWasQueuedIsSaid() throws Exception {
        Ctl.Run run = ctl.run("directory", "notify-sync-failure");
        assertEquals(0, run.status(), run.err());
        assertEquals("0 SUCCESS, done: the mail is queued in the folder that queue_notify names\n", run.err());
        try (Stream<Path> files = Files.list(queue)) {
            assertEquals(List.of("AF", "DF"),
                    files.map(file -> file.toString().replaceFirst(".*\\.", "")).sorted().toList());
        }
        Folders.delete(queue);
        run = ctl.run("directory", "notify-sync-failure");
        assertEquals(4, run.status(), run.err());
        assertTrue(run.err().contains("\nlog:      notify: ") && run.err().contains(queue + " "), run.err());
        Files.writeString(root.resolve("config/vesk.ini"), "[log_level]\nui=NOLOG", StandardOpenOption.APPEND);
        run = ctl.run("directory", "notify-sync-failure");
        Files.createDirectory(queue);
        assertEquals(4, run.status(), run.err());
        assertTrue(run.err().contains("the log cannot tell whether the mail was queued"), run.err());
        Files.writeString(root.resolve("config/vesk.ini"), "");
        run = ctl.run("directory", "notify-sync-failure", "--json");
        assertEquals(3, run.status(), run.err());
        assertTrue(run.out().contains("\"code\":-1,\"name\":\"NO_ADMINISTRATOR\","), run.out());
        assertTrue(run.out().contains("\"log\":[\"Fail to"), run.out());
    }

    @Test
    void theLogIsReadOnlyWhereThisCallWroteIt() throws Exception {
        Files.writeString(root.resolve("log/adminui.log"), "2026-11-21T10:15:00.123 L1 1/1 of old\n");
        Path broken = Files.writeString(root.resolve("broken"), "no keytab");
        Ctl.Run run = ctl.run("kerberos", "spn", broken.toString());
        assertEquals(4, run.status());
        assertTrue(run.err().contains("done, but the file gives no service principal\n"), run.err());
        assertEquals(1, run.err().lines().filter(line -> line.startsWith("log: ") && line.contains("broken")).count());
        assertFalse(run.err().contains("of old"), run.err());
    }

    @Test
    void aSuccessThatTheLogDeniesIsAFailure() throws Exception {
        PeerMethod method = PeerMethod.all().stream().filter(known -> known.name().endsWith(".setDateTime")).findFirst()
                .orElseThrow();
        LogTail log = new LogTail(new InstallRoot(root, Map.of()), method.command());
        String line = "now L- " + ProcessHandle.current().pid() + "/1 WzrdJNI.setDateTime nRet: [";
        Files.writeString(root.resolve("log/adminui.log"), line + "0]\n" + line + "256]\n");
        Answer answer = new Answer(method, 0, List.of(), log.failures(), false);
        assertEquals(List.of("WzrdJNI.setDateTime nRet: [256]"), answer.failures());
        assertEquals(Status.FAILED, answer.status());
    }

    @Test
    void theNewestPrincipalOfAKeytabIsShown() throws Exception {
        Path file = root.resolve("keytab");
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        bytes.write(new byte[] {5, 2});
        bytes.write(entry("old.example.com", 1));
        bytes.write(entry("gate.example.com", 2));
        Files.write(file, bytes.toByteArray());
        Ctl.Run run = ctl.run("kerberos", "spn", file.toString());
        assertEquals("HTTP/gate.example.com@EXAMPLE.COM\n", run.out(), run.err());
        assertEquals("0 SUCCESS, done\n", run.err());
    }

    private static byte[] entry(String host, int version) throws Exception {
        ByteArrayOutputStream bytes = new ByteArrayOutputStream();
        DataOutputStream out = new DataOutputStream(bytes);
        out.writeShort(2);
        for (String text : List.of("EXAMPLE.COM", "HTTP", host)) {
            out.writeUTF(text);
        }
        out.writeInt(1);
        out.writeInt(1_700_000_000 + version);
        out.writeByte(version);
        out.writeShort(18);
        out.writeShort(32);
        out.write(new byte[32]);
        ByteArrayOutputStream sized = new ByteArrayOutputStream();
        new DataOutputStream(sized).writeInt(bytes.size());
        bytes.writeTo(sized);
        return sized.toByteArray();
    }
}
