package com.brelvik.vesk.ui.ctl;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.lang.reflect.Parameter;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Scanner agents, their quarantine and their mail log, from the reference agent. */
class AgentTest {
    private static final String DEAD = "127.0.0.1:1";

    private Path root;
    private Path folder;
    private Server agent;
    private Ctl ctl;

    @BeforeEach
    void start() throws Exception {
        folder = Files.createTempDirectory("agent");
        for (String name : List.of("spool/quarantine", "spool/archive", "spool/postponed", "export")) {
            Files.createDirectories(folder.resolve(name));
        }
        Files.writeString(folder.resolve("spool/quarantine/m1.eml"), "From: =?UTF-8?Q?M=C3=BCller?= <m@example.com>\n"
                + "Subject: x\nContent-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: quoted-printable\n\n"
                + "Gr=C3=BC=C3=9Fe\tan\nalle \033[31m\n");
        Files.writeString(folder.resolve("mail.log"), IntStream.rangeClosed(1, 45)
                .mapToObj(i -> String.format("Nov 20 10:10:%02d gate postfix/smtpd[7]: event-%d.\n", i, i))
                .collect(Collectors.joining()));
        agent = new Server(Path.of("/dev/null"), Ctl.BUILD + "/bin/vesk-agent", "--listen", "127.0.0.1:PORT",
                "--spool", folder + "/spool", "--export", folder + "/export", "--maillog", folder + "/mail.log");
        root = Folders.installRoot("[agent]", "scanners = " + address() + ", " + DEAD);
        String url = "http://" + address();
        ctl = new Ctl().with("VESK_HOME", root.toString()).with("VESK_AGENT_PORT", Integer.toString(agent.port))
                .with("VESK_QUARANTINE_AGENT", url).with("VESK_MTA_LOG_AGENT", url);
    }

    private String address() {
        return "127.0.0.1:" + agent.port;
    }

    @AfterEach
    void stop() throws Exception {
        agent.close();
        Folders.delete(root);
        Folders.delete(folder);
    }

    @Test
    void eachAgentOfAFleetHasItsLine() throws Exception {
        Ctl.Run run = ctl.run("agent", "notify", address(), DEAD, "http://" + address());
        assertEquals(4, run.status(), run.err());
        assertEquals(address() + "  told", run.lines().get(0));
        assertTrue(run.lines().get(1).matches(DEAD + "  not told after \\d+ ms: no connection .*"), run.out());
        assertTrue(run.lines().size() == 2 && run.err().contains("happened: 1 of 2 agents was not told\n"),
                run.err());
        assertEquals(0, ctl.run("agent", "notify", address()).status());
        run = ctl.run("agent", "notify", "LocalHost:1,[::1]:1,localhost:01,[0::1]:1," + address());
        assertEquals(List.of("LocalHost:1  not", "[::1]:1  not", address() + "  told"),
                run.lines().stream().map(line -> line.replaceFirst("  not told .*", "  not")).toList(), run.err());
        assertEquals(2, ctl.run("agent", "notify").status());
        assertEquals(3, ctl.run("agent", "notify", "").status());
        run = ctl.run("agent", "patch", "patch 4711", "--json");
        assertTrue(run.out().contains("\"told\":false,\"why\":\"no connection "), run.out());
        assertTrue(run.out().contains("\"code\":-1,\"name\":\"NOT_ALL_TOLD\",\"meaning\":\"1 agent was not told\"")
                && run.out().contains("{\"agent\":\"" + address() + "\",\"told\":true,\"why\":null}"), run.out());
        Files.writeString(root.resolve("config/vesk.ini"), "[log_level]\nui=NOLOG");
        run = ctl.run("agent", "notify", address(), DEAD);
        assertEquals(2, run.lines().stream().filter(line -> line.endsWith("  unknown: see the log")).count());
    }

    @Test
    void answersThatAreTheOtherWayRoundAreToldAsTheyAre() throws Exception {
        Ctl.Run run = ctl.run("agent", "event", "7");
        assertEquals("0 300 ACCEPTED, the agent accepted it\n", run.status() + " " + run.err());
        run = ctl.run("agent", "event", "7", "--port", "1");
        assertTrue(run.status() == 4 && run.err().contains("happened: 0 NOT_ACCEPTED, "), run.err());
        assertEquals("0 1 UNREGISTERED, done\n", ctl.run("agent", "unregister").status() + " "
                + ctl.run("agent", "unregister").err());
        run = ctl.run("agent", "test", "--port", "1");
        assertTrue(run.status() == 4 && run.out().equals("http://127.0.0.1:1\n"), run.out() + run.err());
    }

    @Test
    void anAgentThatAnswersWronglyIsToldFromOneThatDoesNot() throws Exception {
        try (Server wrong = new Server(Path.of("/dev/null"), Ctl.BUILD + "/bin/vesk-agent", "--listen",
                "127.0.0.1:PORT", "--misbehave", "*=wrong-sum,*=wrong-echo")) {
            ctl.with("VESK_AGENT_PORT", Integer.toString(wrong.port));
            Ctl.Run run = ctl.run("agent", "test");
            assertTrue(run.status() == 4 && run.err().contains(" answer: it answered, but with a wrong sum, as the "
                    + "log has no reason\nnext:     look at the agent"), run.err());
            assertTrue(ctl.run("agent", "service", "3").err().contains("it answered, but with another code "));
        }
        Ctl.Run run = ctl.run("agent", "test");
        assertTrue(run.err().contains("\nlog:      agent: test failed ") && !run.err().contains("it answered")
                && !run.err().contains("try 'agent test'"), run.err());
    }

    @Test
    void aMessageIsShownInParts() throws Exception {
        Ctl.Run run = ctl.run("quarantine", "show", "m1");
        assertTrue(run.out().startsWith("[header]\nFrom: Müller <m@example.com>\nSubject: x\n"), run.err());
        assertTrue(run.out().contains("\n[text]\nGrüße\tan\nalle "), run.out());
        assertTrue(run.out().endsWith("\n[attachments]\n"), run.out());
        assertEquals(-1, run.out().indexOf('\033'));
        run = ctl.run("quarantine", "export", "m1", "x.eml", "--show", "--export-folder", folder + "/export");
        assertTrue(run.out().endsWith("\n\nGr=C3=BC=C3=9Fe\tan\nalle \\u001b[31m\n"), run.out() + run.err());
        run = ctl.run("quarantine", "show-postponed", "m1");
        assertTrue(run.status() == 4 && run.err().contains("happened: 0 NOT_FETCHED, "), run.err());
    }

    @Test
    void theMailLogIsPagedWithoutLossToItsEnd() throws Exception {
        Ctl.Run run = ctl.run("mta-log", "page", "--page-size", "20");
        assertEquals(IntStream.rangeClosed(1, 45).mapToObj(i -> "event-" + (46 - i) + ".").toList(),
                run.lines().stream().map(line -> line.replaceFirst(".* ", "")).toList(), run.err());
        assertEquals("page 3 of 3, 45 lines in all\n", run.err());
        run = ctl.run("mta-log", "page", "--page-size", "10", "--pages", "2", "--oldest-first");
        assertTrue(run.lines().size() == 20 && run.lines().get(19).endsWith("event-20."), run.out());
        run = ctl.run("mta-log", "page", "--keyword", "event-4", "--page-size", "4", "--json");
        assertEquals(List.of(4, 3), run.lines().stream().map(line -> line.split("gate").length - 1).toList());
        assertTrue(run.lines().get(1).contains("\"page\":2,\"pages\":2,\"total\":7,\"file\":\"mail.log\""), run.out());
        run = ctl.run("mta-log", "page", "--keyword", "none");
        assertEquals("0 page 1 of 1, 0 lines in all\n", run.status() + " " + run.out() + run.err());
        assertEquals(3, ctl.run("mta-log", "page", "--since", "2h", "--until", "3h").status());
        agent.close();
        run = ctl.run("mta-log", "page");
        assertTrue(run.status() == 4 && run.err().contains("happened: 0 SUCCESS, done, but the log says"), run.err());
    }

    @ParameterizedTest
    @CsvSource(delimiter = '|', textBlock = """
            SystemMonitorJNI.PostSetNotifyAllScanners | 0 | a:1 http://[::1]:65535 1.2.3.4:80,b:2 | a a:0 a:65536 a:1/ ::1:80
            SystemMonitorJNI.testConnection | 0 | a [::1] 1.2.3.4 | ::1 [] a:1 http://a 1.2.3.256 a@b
            QuarantineJNI.getEmail | 0 | http://a:1 http://[::1]:80/agent | a:1 http://a http://a:0 https://a:1 http://a@b:1
            QUORJNI.quorChkServerStatus | 0 | a a:1 https://a/x http://[::1]:99 | ftp://a a:0 a@b https:// ::1 é
            """)
    void anAddressIsWellFormed(String method, int index, String good, String bad) {
        Parameter parameter = PeerMethod.named(method).parameters().get(index);
        for (String text : good.split(" ")) {
            Object value = Values.of(parameter, text);
            assertEquals(text, value instanceof List<?> list ? String.join(",", list.toArray(String[]::new)) : value);
        }
        List.of(bad.split(" ")).forEach(text -> assertEquals(Status.REFUSED,
                assertThrows(Refusal.class, () -> Values.of(parameter, text), text).status()));
    }
}
