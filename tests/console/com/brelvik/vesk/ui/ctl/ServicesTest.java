package com.brelvik.vesk.ui.ctl;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** Updates, keywords, sign-on, reputation and the end-user quarantine, with the tools that serve them. */
class ServicesTest {
    private Path root;
    private Path folder;
    private Ctl ctl;

    @BeforeEach
    void layOut() throws Exception {
        folder = Files.createTempDirectory("services");
        root = Folders.installRoot("[update]", "source = file://" + folder + "/source", "[signon]", "audience = gate");
        ctl = new Ctl().with("VESK_HOME", root.toString());
    }

    @AfterEach
    void delete() throws Exception {
        Folders.delete(root);
        Folders.delete(folder);
    }

    private String tool(String name, String... arguments) throws Exception {
        ProcessBuilder builder = new ProcessBuilder(Server.tool(name));
        builder.command().addAll(List.of(arguments));
        builder.environment().put("VESK_HOME", root.toString());
        Process process = builder.redirectErrorStream(true).start();
        String said = new String(process.getInputStream().readAllBytes());
        assertEquals(0, process.waitFor(), said);
        return said.strip();
    }

    private void publish(String... components) throws Exception {
        String[] start = {"--dir", folder + "/source", "--key", folder + "/key"};
        List<String> all = new ArrayList<>(List.of(start));
        for (String component : components) {
            all.add(component + "=" + folder + "/files");
        }
        tool("make-update-source", all.toArray(String[]::new));
    }

    @Test
    void everyMethodThatDoesSomethingIsACommand() {
        assertEquals(List.of("DbMaintainJNI.SaveSched", "JniInit.initializeJNI", "PostfixJNI.exportPEMFile",
                "PostfixJNI.getPEMFile", "WzrdJNI.checkDNS", "WzrdJNI.checkGateway", "WzrdJNI.checkIPAddr"),
                PeerMethod.all().stream().filter(method -> method.command() == null).map(PeerMethod::name).toList());
        for (PeerMethod method : PeerMethod.all()) {
            method.parameters().stream().filter(parameter -> parameter.getType().isPrimitive()
                    && method.command() != null).forEach(parameter -> assertNotNull(PeerMethod.describe(parameter)));
        }
    }

    @Test
    void eachComponentOfAnUpdateHasItsOutcome() throws Exception {
        Files.createDirectory(folder.resolve("files"));
        Files.writeString(folder.resolve("files/data"), "x");
        publish("spam-pattern=1.0", "virus-engine=7.1");
        Files.copy(folder.resolve("key.pub"), root.resolve("config/update-key.pem"));
        Ctl.Run run = ctl.run("update", "versions");
        assertEquals(List.of("spam-pattern - 1.0", "virus-engine - 7.1"), run.lines().stream()
                .filter(line -> !line.matches(".*(- +-|AVAILABLE)")).map(line -> line.replaceAll(" +", " ")).toList());
        assertEquals(0, ctl.run("update", "run", "--all").status());
        publish("spam-pattern=1.1", "virus-engine=7.1");
        run = ctl.run("update", "run", "virus-engine", "spam-pattern", "phishing-pattern");
        assertEquals(List.of("spam-pattern updated 1.0 -> 1.1", "phishing-pattern failed none",
                "virus-engine up to date 7.1"), run.lines().stream().map(line -> line.replaceAll(" +", " ")).toList());
        assertEquals(4, run.status());
        run = ctl.run("update", "rollback", "--all", "--json");
        assertTrue(run.out().contains("\"before\":\"1.1\",\"version\":\"1.0\",\"outcome\":\"taken back\"}"), run.out());
        assertTrue(run.out().contains("\"version\":\"7.1\",\"outcome\":\"no version before\"}]"), run.out());
        run = ctl.run("update", "rollback", "--all", "spam-pattern");
        assertTrue(run.err().startsWith("asked:    veskctl update rollback --source=0 spam-pattern --all\n"),
                run.err());
        run = ctl.run("update", "rollback", "spam-pattern");
        assertTrue(run.err().contains("\nnext:     nothing to do: only an update leaves "), run.err());
        run = ctl.run("update", "run", "--all");
        assertEquals(List.of("spam-pattern left by a rollback 1.0", "virus-engine up to date 7.1"),
                run.lines().stream().map(line -> line.replaceAll(" +", " ")).toList());
        Path left = root.resolve("data/update/spam-pattern/left");
        assertTrue(run.status() == 1 && run.err().endsWith("\nnext:     to get 1.1 again remove " + left + "\n"),
                run.err());
        Files.delete(left);
        run = ctl.run("update", "run", "--all");
        assertTrue(run.status() == 0 && run.out().contains("1.0 -> 1.1"), run.out() + run.err());
        assertEquals(2, ctl.run("update", "run", "spam_pattern").status());
        assertEquals(2, ctl.run("update", "run").status());
        Files.delete(root.resolve("config/update-key.pem"));
        assertEquals(4, ctl.run("update", "versions").status());
    }

    @Test
    void aTextComesBackFromTheCipher() throws Exception {
        Path text = Files.writeString(folder.resolve("text"), "gehäim \n");
        String secret = ctl.run("update", "encrypt", "--password-file", text.toString()).out();
        Files.writeString(text, secret);
        assertEquals("gehäim \n", ctl.run("update", "decrypt", "--password-file", text.toString()).out());
        Files.writeString(text, secret.replaceFirst(".$", ""));
        Ctl.Run run = ctl.run("update", "decrypt", "--password-file", text.toString());
        assertTrue(run.status() == 4 && run.err().contains("nothing came of it: "), run.err());
        Path key = root.resolve("config/cipher.key");
        Files.setPosixFilePermissions(key, PosixFilePermissions.fromString("rw-r--r--"));
        run = ctl.run("update", "encrypt", "--password-file", text.toString());
        assertTrue(run.err().contains("set its mode to 0600\nnext:     do what the log says "), run.err());
        Files.write(text, new byte[] {'g', (byte) 0xe4, '\n'});
        run = ctl.run("update", "encrypt", "--password-file", text.toString());
        assertTrue(run.status() == 3 && run.err().contains(text + " is not UTF-8"), run.err());
        assertEquals(3, ctl.run("call", "UpdateJNI.getEncryptStr", "secret").status());
        run = ctl.run("policy", "keyword", "b".repeat(400) + " (");
        assertTrue(run.err().startsWith("asked:    veskctl policy keyword " + "b".repeat(200) + "...\n"), run.err());
        run = ctl.run("policy", "keyword", "a AND (b");
        assertTrue(run.status() == 1 && run.err().contains("\nlog:      keyword: at character 7: "), run.err());
    }

    @Test
    void aSessionIsAnsweredOnce() throws Exception {
        tool("make-signon-session", "--key-pair", folder + "/keys");
        Files.copy(folder.resolve("keys/SSO_PKI_PublicKey.pem"), root.resolve("config/SSO_PKI_PublicKey.pem"));
        Path session = Files.writeString(folder.resolve("session"), tool("make-signon-session", "--guid", "guid-1",
                "--key", folder + "/keys/private.pem", "--audience", "gate") + "\n");
        Ctl.Run run = ctl.run("signon", "check", "--session-file", session.toString());
        assertTrue(run.status() == 4 && run.err().contains("happened: 513 NO_CONSOLE_GUID, "), run.err());
        Files.createDirectories(root.resolve("data"));
        Path sql = folder.resolve("sql");
        Files.writeString(sql, Files.readString(root.resolve("script/admin.sql"))
                + "INSERT INTO tb_global_setting VALUES ('cmagent', 'a', 'guid-1', 'Guid');");
        assertEquals(0, new ProcessBuilder("sqlite3", root + "/data/admin.db").inheritIO()
                .redirectInput(sql.toFile()).start().waitFor());
        run = ctl.run("signon", "answer", "--session-file", session.toString());
        assertEquals(0, run.status(), run.err());
        tool("make-signon-session", "--check-answer", run.out().strip(), "--session", session.toString());
        run = ctl.run("signon", "answer", "--session-file", session.toString());
        assertEquals(1, run.status(), run.out());
        Files.writeString(session, tool("make-signon-session", "--guid", "guid-2", "--key",
                folder + "/keys/private.pem", "--audience", "gate"));
        run = ctl.run("signon", "answer", "--session-file", session.toString(), "--json");
        assertTrue(run.status() == 1 && run.out().contains("\"code\":-6,\"name\":\"WRONG_GUID\""), run.out());
    }

    @Test
    void theReputationServerIsAskedThroughAProxyThatKnowsTheUser() throws Exception {
        Path none = Path.of("/dev/null");
        Path password = Files.writeString(folder.resolve("password"), "secret\n");
        try (Server service = new Server(none, Server.tool("private-reputation"), "--dir", folder + "/reputation",
                    "--program", Ctl.BUILD + "/bin/reputation-server", "PORT");
                Server proxy = new Server(password, Server.tool("private-proxy"), "--dir", folder + "/proxy",
                    "--port", "PORT", "--user", "ann")) {
            String url = "http://127.0.0.1:" + service.port;
            Ctl.Run run = ctl.run("reputation", "check", url);
            assertEquals("0 0 ANSWERED, the server answered\n", run.status() + " " + run.err());
            String[] through = {"reputation", "check", url, "--proxy", "127.0.0.1", "--proxy-port",
                Integer.toString(proxy.port), "--proxy-user", "ann", "--password-file", password.toString()};
            assertEquals(0, ctl.run(through).status());
            assertTrue(Files.readString(folder.resolve("proxy/proxy.log")).contains("127.0.0.1:" + service.port));
            Files.writeString(password, "guess");
            run = ctl.run(through);
            assertTrue(run.err().matches("(?s).*4 PROXY_REFUSED, the proxy refused \\(HTTP status 40[17]\\).*"),
                    run.err());
            assertFalse(Files.readString(root.resolve("log/adminui.log")).contains("guess"));
        }
        Ctl.Run run = ctl.run("reputation", "check", "127.0.0.1:1", "--json");
        assertTrue(run.status() == 4 && run.out().contains("\"code\":3,\"name\":\"CONNECT_REFUSED\","), run.out());
        assertTrue(run.out().contains("\"error\":7,\"log\":[\"reputation: connect failed ")
                && !run.out().contains("[quor"), run.out());
        run = ctl.run("reputation", "check", "a@b");
        assertTrue(run.err().startsWith("asked:    veskctl reputation check a@b\n"), run.err());
        for (String option : List.of("--proxy-port=9", "--proxy-user=ann")) {
            run = ctl.run("reputation", "check", "127.0.0.1:1", option);
            assertTrue(run.status() == 2 && run.err().contains(option.replaceFirst("=.*", " needs --proxy\n")),
                    run.err());
        }
    }

    @Test
    void aTransferIsWaitedForAndItsResultStays() throws Exception {
        for (String name : List.of("scanner-a", "scanner-b")) {
            assertEquals(0, ctl.run("euq", "register", name).status());
        }
        tool("sample-euq", "--area", "2", "--messages", "500");
        Ctl.Run run = ctl.run("euq", "transfer", "1", "--wait");
        assertEquals("500 of 500 messages moved to area 1\n", run.out(), run.err());
        run = ctl.run("euq", "status", "--json");
        assertTrue(run.out().contains("\"transfer\":{\"running\":false,\"code\":0,\"text\":\"500 of 500 "), run.out());
        run = ctl.run("euq", "unregister", "3");
        assertTrue(run.status() == 3 && run.err().contains("happened: 3 NOT_REGISTERED, "), run.err());
        run = ctl.run("euq", "remove-result", "--json");
        assertTrue(run.status() == 1 && run.out().contains("\"code\":-1,\"name\":\"NO_RESULT\","), run.out());
        assertTrue(run.out().endsWith(",\"text\":\"\"}\n"), run.out());
        Files.delete(root.resolve("bin/euqjob"));
        assertEquals(4, ctl.run("euq", "transfer", "2", "--wait").status());
        Files.writeString(root.resolve("data/euq/euq.db"), "no database", StandardOpenOption.TRUNCATE_EXISTING);
        run = ctl.run("euq", "on");
        assertTrue(run.status() == 4 && run.err().contains("happened: 0 NOT_OPEN, "), run.err());
    }
}
