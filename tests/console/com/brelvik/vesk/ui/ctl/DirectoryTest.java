package com.brelvik.vesk.ui.ctl;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** The directory methods on a real server. */
class DirectoryTest {
    private static Path root;
    private static Company company;
    private Ctl ctl = new Ctl().with("VESK_HOME", root.toString()).with("VESK_PASSWORD", "secret-admin")
            .with("VESK_DIRECTORY_VENDOR", "openldap").with("VESK_DIRECTORY_PORT", Integer.toString(company.port))
            .with("VESK_DIRECTORY_BIND_USER", "cn=admin,dc=example,dc=com")
            .with("VESK_DIRECTORY_BASE_DN", "dc=example,dc=com");
    private Ctl.Run run = new Ctl.Run(0, "", "");

    @BeforeAll
    static void start() throws Exception {
        root = Folders.installRoot();
        company = new Company();
    }

    @AfterAll
    static void stop() throws Exception {
        company.close();
        Folders.delete(root);
    }

    @AfterEach
    void theVmFoundNoFault() {
        assertFalse((run.out() + run.err()).contains("WARNING"), run.err());
    }

    @ParameterizedTest
    @CsvSource(delimiter = '|', textBlock = """
            check-base                                                     | 0 | 0   |
            check-base --base-dn ou=nowhere                                | 1 | 208 |
            authenticate uid=ann,ou=people,dc=example,dc=com               | 1 | 203 |
            authenticate cn=admin,dc=example,dc=com                        | 0 | 0   |
            account ann                                                    | 0 | 0   |
            account an*                                                    | 1 | 202 |
            member-of ann WORLD                                            | 0 | 0   |
            member-of ann ring-a                                           | 1 | 204 |
            by-mail support@example.com                                    | 0 | 0   | support
            by-mail nobody@example.com                                     | 0 | 0   |
            find (uid=ann) mail           | 0 | 0   | ann@example.com ann.archer@example.com a.archer@example.com
            find (uid= mail                                                | 4 | 205 |
            search *田中*                                                  | 0 | 0   | tanaka
            search r*ng* --groups-only                                     | 0 | 0   | ring-a ring-b ring-c
            search ann --base-dn ou=nowhere,dc=example,dc=com              | 4 | 206 |
            browse --base-dn cn=berlin,ou=groups,dc=example,dc=com         | 0 | 0   | berlin
            browse --auth 7                                                | 4 | 201 |
            """)
    void answers(String arguments, int status, int code, String list) throws Exception {
        run = ctl.run(("directory " + arguments).split(" +"));
        assertEquals(status, run.status(), run.err());
        assertEquals(list == null ? List.of() : List.of(list.split(" ")), run.lines());
        String[] talk = run.err().split("\n");
        assertTrue(talk[code == 0 ? 0 : 1].contains(code + " "), run.err());
        long logged = run.err().lines().filter(line -> line.startsWith("log:      directory: ")).count();
        assertEquals((code == 0 ? 1 : 3) + logged, talk.length, run.err());
        assertTrue(logged > 0 || status != 4, run.err());
    }

    @ParameterizedTest
    @CsvSource(delimiter = '|', textBlock = """
            directory check-base --port 0                          | 3 | out of range
            directory check-base --vendor papyrus                  | 2 | none of generic, openldap
            directory check-base --colour red                      | 2 | --colour
            directory find (uid=ann)                               | 2 | ATTRIBUTE
            call LdapJNI.nothing                                   | 2 | no native method LdapJNI.nothing
            call LdapJNI.checkBaseDN 1 0                           | 2 | 2 arguments
            call LdapJNI.checkBaseDN 1 0 h 389 cn=me guess dc=x    | 3 | can read a command line
            wizard restart x                                       | 2 | 'x' is no whole number
            wizard restart 0                                       | 3 | MODE: 0 is out of range
            host running -1                                        | 3 | PID: -1 is out of range
            code 999                                               | 2 | no result code
            """)
    void badInputIsRefusedBeforeTheLibraryIsAsked(String arguments, int status, String why) throws Exception {
        run = ctl.library(Path.of("/nonexistent")).run(arguments.split(" +"));
        assertEquals(status, run.status(), run.err());
        assertTrue(run.err().split("\n")[1].contains(why), run.err());
    }

    @ParameterizedTest
    @CsvSource(delimiter = '|', textBlock = """
            security = starttls; ca_file = CA | --user ann --group WORLD          | 0 |          | null
            security = tls                   |                                   | 3 | settings | unknown
            security = ldaps; ca_file = /none |                                   | 3 | settings | /none is missing
            security = ldaps; ca_file = CA   |                                   | 4 | TLS      | no TLS is spoken
            security = starttls; ca_file = xCA |                                   | 4 | TLS      | ca_file holds no
            security = starttls; ca_file = CA | --host localhost                  | 4 | TLS      | machine's own name'
                                             | --host=                           | 3 | settings | no server is named
                                             | --auth 7                          | 3 | settings | 7 is unknown
                                             | --host no.such.host.invalid       | 4 | resolve  | resolve failed
                                             | --port 1                          | 4 | connect  | refused
                                             | --bind-user cn=admin,dc=example   | 4 | bind     | credentials
                                             | --base-dn ou=x,dc=example,dc=com  | 1 | base     | dc=com exists
                                             | --user sale                       | 1 | user     | like it: sales'
                      | --user uid=ann,ou=people,dc=example,dc=com --group world | 0 |          | null
                                             | --group ring-d                    | 1 | group    | ring-a, ring-b
                                             | --user ann --group ring-a         | 1 | member   | 204
            """)
    void aSetUpIsExplainedUpToTheStepThatFails(String settings, String arguments, int status, String step, String why)
            throws Exception {
        Path home = Folders.installRoot(settings == null ? "" : "[LDAP]\n" + settings.replace("; ", "\n")
                .replace("xCA", company.authority("other-ca").toString())
                .replace("CA", company.authority("ca").toString()));
        run = ctl.with("VESK_HOME", home.toString())
                .run(("directory explain --json " + (arguments == null ? "" : arguments)).split(" +"));
        Folders.delete(home);
        assertEquals(status, run.status(), run.out() + run.err());
        String json = run.out().replace('"', '\'');
        String verdict = step == null ? "{'ok':true,'failed':null," : "{'ok':false,'failed':'" + step + "',";
        assertTrue(json.startsWith(verdict + "'steps':[{'step':'settings','ok':"), json);
        String last = json.substring(json.lastIndexOf("{'step':'" + (step == null ? "member" : step) + "','ok':"));
        assertTrue(last.contains(why) && last.contains("'next':"), last);
        assertEquals(step == null ? 0 : 1, json.split("'ok':false,'asked'").length - 1, json);
    }

    @Test
    void textsUpToTheLibrarysLimitPass() throws Exception {
        assertEquals(0, ctl.run("directory", "search", "é".repeat(255) + "x").status());
        run = ctl.run("directory", "search", "é".repeat(256));
        assertEquals(3, run.status());
        assertTrue(run.err().contains("512 bytes, of which the library reads 511"), run.err());
    }

    @Test
    void otherScriptsSurviveALocaleWithoutThem() throws Exception {
        run = ctl.with("LC_ALL", "C").run("directory", "find", "(|(cn=Jörg*)(cn=𠮷野*))", "cn", "--json");
        assertEquals("{\"call\":\"LdapJNI.directSearchLDAPUTF8\",\"code\":0,\"name\":\"SUCCESS\",\"meaning\":\"done\","
                + "\"list\":[\"Jörg Müller\",\"𠮷野 太郎\"]}\n", run.out());
    }

    @Test
    void jsonTellsFailuresAndRefusals() throws Exception {
        run = ctl.run("directory", "account", "nobody", "--json");
        assertEquals("{\"call\":\"LdapJNI.isAccountExist\",\"code\":202,\"name\":\"ACCOUNT_NOT_FOUND\",\"meaning\":"
                + "\"no such account, or its login name could not be resolved\"}\n", run.out());
        run = ctl.with("VESK_PASSWORD", null).run("directory", "account", "ann", "--json");
        assertEquals(3, run.status());
        assertTrue(run.out().startsWith("{\"error\":{\"asked\":\"veskctl directory account "), run.out());
        run = ctl.run("directory", "account", "--json");
        assertEquals(2, run.status());
        assertTrue(run.out().startsWith("{\"error\":{\"asked\":\"veskctl directory account\""), run.out());
    }

    @Test
    void passwordsComeFromAFileAndControlCharactersAreShown() throws Exception {
        Path file = Files.writeString(root.resolve("password"), "secret-ann\r\nsecond line\n");
        run = ctl.with("VESK_PASSWORD", "other").run("directory", "authenticate",
                "uid=ann,ou=people,dc=example,dc=com", "--password-file", file.toString());
        assertEquals(0, run.status(), run.err());
        run = ctl.run("directory", "account", "\u001b[31mann\n");
        assertTrue(run.err().contains("\\u001b[31mann\\u000a"), run.err());
        assertFalse(run.err().contains("\u001b"));
        run = ctl.with("VESK_DIRECTORY_HOST", "\u001b@|red x|@%n").run("directory", "account", "--help");
        assertTrue(run.out().contains("Default: \\u001b\\u0040|red x|@%n\n"), run.out());
    }

    @Test
    void anyMethodCanBeCalled() throws Exception {
        List<String> arguments = new ArrayList<>(List.of("call", "LdapJNI.getUserByMail", "openldap", "0", "127.0.0.1",
                Integer.toString(company.port), "cn=admin,dc=example,dc=com", "@password", "dc=example,dc=com",
                "rosa@example.com", "@null"));
        run = ctl.run(arguments);
        assertEquals(List.of("rosa"), run.lines(), run.err());
        arguments.add("@null");
        run = ctl.run(arguments);
        assertEquals(3, run.status());
        assertTrue(run.err().contains("500 NULL_ARGUMENT"), run.err());
    }

    @Test
    void theTourMeetsNoSurprise() throws Exception {
        run = ctl.run("demo", "--port", Integer.toString(company.port), "--bind-user", "cn=admin,dc=example,dc=com");
        assertEquals(0, run.status(), run.out() + run.err());
        assertTrue(Files.readString(root.resolve("log/adminui.log")).contains("Connection refused"));
    }
}
