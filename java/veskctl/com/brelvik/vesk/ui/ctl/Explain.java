package com.brelvik.vesk.ui.ctl;

import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;
import javax.naming.InvalidNameException;
import javax.naming.ldap.LdapName;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;

/** Tries a directory set-up step by step. Each verdict is a native method's: its code, and what it logged meanwhile. */
final class Explain implements Callable<Integer> {
    private static final Map<String, PeerMethod> METHODS =
            PeerMethod.all().stream().collect(Collectors.toMap(PeerMethod::name, method -> method));
    private static final List<String> REACH = List.of("resolve", "connect", "TLS");
    private static final Map<String, String> HINTS = Map.of("connect", "check host, port and firewall", "TLS",
            "check security and ca_file in section LDAP", "bind", "check account and password");
    private static final int SHOWN = 5;
    private static final int BEGINNING = 3;

    private final CommandSpec spec = CommandSpec.wrapWithoutInspection(this).name("explain");
    private final PeerArguments arguments;
    private Map<String, String> texts;
    private DirectorySetup setup;
    private Steps steps;

    Explain() {
        spec.usageMessage().header("Try a set-up step by step; say at which step and why it fails.").sortOptions(false)
                .description("", "The steps: settings, resolve, connect, TLS, bind, base DN, and as asked for a user, "
                        + "a group, and whether the group contains the user. A failed bind is not tried twice.");
        arguments = new PeerArguments(METHODS.get("LdapJNI.checkBaseDN"), spec);
        spec.addOption(named("--user", "Login name of a user to look for"));
        spec.addOption(named("--group", "Name of a group to look for"));
        spec.addOption(PeerCommand.jsonOption());
        spec.addOption(PeerCommand.helpOption());
    }

    CommandSpec spec() {
        return spec;
    }

    private static OptionSpec named(String name, String help) {
        return OptionSpec.builder(name).type(String.class).paramLabel("NAME").description(help).build();
    }

    @Override
    public Integer call() {
        texts = arguments.texts();
        texts.put("groups-only", "false");
        boolean json = spec.findOption("--json").getValue();
        steps = new Steps(json);
        String user = spec.findOption("--user").getValue();
        String group = spec.findOption("--group").getValue();
        boolean passed = settings() && reach() && kerberos() && bindAndBase() && (user == null || user(user))
                && (group == null || group(group)) && (user == null || group == null || member(user, group));
        if (json) {
            steps.printJson();
        } else if (passed && (user == null || group == null)) {
            Output.talk("--user NAME and --group NAME look further");
        }
        return steps.status().number();
    }

    private boolean settings() {
        long start = System.nanoTime();
        try {
            setup = new DirectorySetup(InstallRoot.open(), texts);
            setup.check();
            Bridge.start();
        } catch (Refusal e) {
            return steps.failed(e.status(), "settings", "vesk.ini and the vendor's script", since(start),
                    List.of(e.getMessage()), e.next());
        }
        steps.passed("settings", setup.summary(), since(start));
        return !InstallRoot.open().logLevel().equals("NOLOG") || steps.doubtful("log", "level NOLOG",
                "the library tells nobody why something fails", "set ui in section log_level of vesk.ini to NORMAL");
    }

    // A log-in without a name is refused before it is sent, but after the server was reached.
    private boolean reach() {
        long start = System.nanoTime();
        Answer answer = ask("LdapJNI.authenticateUTF8", Map.of("ACCOUNT", "", "password", ""));
        boolean reached = answer.code() == 203 || answer.code() == 0;
        String last = setup.hasTls() ? "TLS" : "connect";
        for (String step : REACH.subList(0, REACH.indexOf(last) + 1)) {
            if (!reached && step.equals(failedStep(answer, last))) {
                return fail(step, askedAt(step), answer, start, step.equals("TLS") ? setup.tlsClues()
                        : step.equals("connect") ? new Reachability(texts).clues() : List.of());
            }
            steps.passed(step, askedAt(step), reached && step.equals(last) ? since(start) : null);
        }
        return true;
    }

    private String askedAt(String step) {
        return switch (step) {
            case "resolve" -> texts.get("host");
            case "connect" -> "port " + texts.get("port") + (setup.hasTls() ? "" : ", without TLS");
            default -> setup.tls();
        };
    }

    private boolean kerberos() {
        if (!setup.isKerberos() || texts.get("bind-user").isEmpty()) {
            return true;
        }
        Krb5Config machine = Krb5Config.find();
        String realm = machine.realmOf(texts.get("bind-user"));
        String asked = machine.files() + ", realm " + (realm == null ? "not named" : realm);
        if (!machine.isReadable()) {
            return steps.doubtful("krb5.conf", asked, "the file is missing or cannot be read",
                    "write the realm and its key servers there, or name another file in KRB5_CONFIG");
        }
        return realm != null ? steps.passed("krb5.conf", asked, null) : steps.doubtful("krb5.conf", asked,
                "neither the account nor the file names a realm", "give the account as NAME@REALM");
    }

    private boolean bindAndBase() {
        long start = System.nanoTime();
        Answer answer = ask("LdapJNI.checkBaseDN", Map.of());
        String user = texts.get("bind-user");
        String account = (user.isEmpty() ? "anonymous" : user) + (setup.isKerberos() ? ", Kerberos" : ", simple");
        if (answer.code() != 0 && answer.code() != 208) {
            boolean lost = answer.failures().stream().anyMatch(line -> line.contains(": connection lost"));
            return lost && setup.lacksTls() ? fail("bind", account, answer, start, List.of("the port speaks TLS"),
                    "set security = ldaps in section LDAP of vesk.ini")
                    : fail(failedStep(answer, "bind"), account, answer, start, List.of());
        }
        steps.passed("bind", account, since(start));
        List<String> script = answer.failures().stream().filter(line -> line.startsWith("directory: script ")).toList();
        if (!script.isEmpty()) {
            Steps.Logged logged = Steps.Logged.of(script.get(0));
            return steps.failed(Status.REFUSED, "script", setup.script().toString(), null, List.of(logged.why()),
                    "mend the file");
        }
        String base = texts.get("base-dn");
        return answer.code() == 0 ? steps.passed("base", base, null)
                : fail("base", base, answer, start, List.of(nearest(base)));
    }

    // The part of a base DN that does exist.
    private String nearest(String base) {
        String rest = base;
        while (!rest.isEmpty()) {
            String[] parts = rest.split("(?<!\\\\),", 2);
            rest = parts.length < 2 ? "" : parts[1].strip();
            if (!rest.isEmpty() && ask("LdapJNI.checkBaseDN", Map.of("base-dn", rest)).code() == 0) {
                return rest + " exists";
            }
        }
        return "no part of it exists on this server, or the account may not see it";
    }

    private boolean user(String name) {
        long start = System.nanoTime();
        Answer answer = ask("LdapJNI.isAccountExist", Map.of("ACCOUNT", name));
        return answer.code() == 0 ? steps.passed("user", name, since(start))
                : fail("user", name, answer, start, answer.code() == 202 ? similar(users(beginning(name)))
                        : List.of());
    }

    private boolean group(String name) {
        long start = System.nanoTime();
        Answer answer = search(name, "true");
        if (answer.code() != 0) {
            return fail("group", name, answer, start, List.of());
        }
        if (names(answer).stream().anyMatch(name::equalsIgnoreCase)) {
            return steps.passed("group", name, since(start));
        }
        List<String> why = new ArrayList<>(List.of("no group of that name below the base DN"));
        why.addAll(similar(names(search(beginning(name), "true"))));
        return steps.failed(Status.NO, "group", name, since(start), why, "check name, base DN and vendor");
    }

    private boolean member(String user, String group) {
        long start = System.nanoTime();
        String found = nameOf(user);
        String name = found == null ? user : found;
        String asked = name + (name.equals(user) ? "" : " (" + user + ")") + " in " + group;
        Answer answer = ask("LdapJNI.isLDAPGroupContainAnotherUTF8", Map.of("MEMBER", name, "GROUP", group));
        if (found == null && answer.code() == 204) {
            return steps.doubtful("member", asked, "no search gives just one user for this login name",
                    "give the user's name as the lists show it");
        }
        return answer.code() == 0 ? steps.passed("member", asked, since(start))
                : fail("member", asked, answer, start, List.of());
    }

    // Groups know users by their names, which need not be what they log in with. Null when it is not clear.
    private String nameOf(String login) {
        for (String form : forms(login)) {
            List<String> names = users(form);
            if (names.size() == 1 || names.contains(form)) {
                return names.size() == 1 ? names.get(0) : form;
            }
        }
        return null;
    }

    // Searches do not look at all that a user may log in with: DOMAIN\name, name@REALM, a DN.
    private static List<String> forms(String login) {
        List<String> forms = new ArrayList<>(List.of(login));
        try {
            LdapName dn = new LdapName(login);
            forms.add(String.valueOf(dn.getRdn(dn.size() - 1).getValue()));
        } catch (InvalidNameException e) {
            forms.add(login.substring(login.lastIndexOf('\\') + 1));
            forms.add(login.replaceFirst("@.*", ""));
        }
        return forms;
    }

    private static String beginning(String name) {
        return name.codePoints().limit(BEGINNING).mapToObj(Character::toString).collect(Collectors.joining()) + "*";
    }

    // What the directory has instead of a name that it does not have.
    private static List<String> similar(List<String> names) {
        String shown = names.stream().limit(SHOWN).collect(Collectors.joining(", "));
        return names.isEmpty() ? List.of()
                : List.of("names that begin like it: " + shown + (names.size() > SHOWN ? ", ..." : ""));
    }

    // A search lists the groups behind the users.
    private List<String> users(String text) {
        List<String> all = names(search(text, "false"));
        return all.subList(0, Math.max(0, all.size() - names(search(text, "true")).size()));
    }

    private Answer search(String text, String groupsOnly) {
        return ask("LdapJNI.searchLDAPUTF8", Map.of("TEXT", text, "groups-only", groupsOnly));
    }

    private static List<String> names(Answer answer) {
        return answer.lists().stream().flatMap(List::stream).map(String::valueOf).toList();
    }

    private Answer ask(String method, Map<String, String> more) {
        Map<String, String> all = new HashMap<>(texts);
        all.putAll(more);
        return Answer.of(METHODS.get(method), Values.of(METHODS.get(method), all));
    }

    /** The step that the library blames, or the last that the call goes through. */
    private static String failedStep(Answer answer, String last) {
        List<String> lines = answer.failures();
        String blamed = lines.isEmpty() ? "" : Steps.Logged.of(lines.get(lines.size() - 1)).step();
        return REACH.contains(blamed) ? blamed : last;
    }

    private boolean fail(String step, String asked, Answer answer, long start, List<String> clues) {
        return fail(step, asked, answer, start, clues, null);
    }

    /** @param cure what is to be done, if that is known better than the library can */
    private boolean fail(String step, String asked, Answer answer, long start, List<String> clues, String cure) {
        Meaning meaning = Meaning.of(answer.method(), answer.code());
        List<Steps.Logged> logged = answer.failures().stream().map(Steps.Logged::of).toList();
        List<String> why = new ArrayList<>();
        logged.forEach(line -> why.add(line.why()));
        if (logged.isEmpty()) {
            why.add(Meaning.describe(answer.method(), answer.code()));
        }
        why.addAll(clues);
        Steps.Logged last = logged.isEmpty() ? null : logged.get(logged.size() - 1);
        String cures = HINTS.getOrDefault(step, meaning == null ? "read the log" : meaning.cures());
        String next = cure != null ? cure : last != null && last.hint() != null ? last.hint() : cures;
        Long ms = last == null || last.ms() == null ? since(start) : last.ms();
        return steps.failed(answer.status(), step, asked, ms, why, next);
    }

    private static long since(long start) {
        return (System.nanoTime() - start) / 1_000_000;
    }
}
