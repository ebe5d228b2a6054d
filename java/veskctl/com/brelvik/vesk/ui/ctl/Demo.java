package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.jni.Arg;
import com.brelvik.vesk.ui.modelobjects.jni.ConsoleCommand;
import java.io.IOException;
import java.lang.reflect.Parameter;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;

@Command(name = "demo", hidden = true, sortOptions = false,
        header = "Call the native methods on a sample company's server or a sample appliance, failing cases too.",
        description = {"", "Exit status 0 when every call answered the code that is expected of it, else 4."})
final class Demo implements Callable<Integer> {
    private static final int SHOWN = 8;
    private static final int LONGEST = 120;

    @Option(names = "--vendor", defaultValue = "openldap", description = "Kind of server")
    private String vendor;

    @Option(names = "--host", defaultValue = "127.0.0.1", description = "Server")
    private String host;

    @Option(names = "--port", description = "Its port; without one, no directory is visited")
    private String port;

    @Option(names = "--base-dn", defaultValue = "dc=example,dc=com", description = "The company's entry, dc=... only")
    private String base;

    @Option(names = "--bind-user", defaultValue = "", description = "Account to bind with")
    private String user;

    @Option(names = "--password-file", paramLabel = "FILE", description = "First line is its password")
    private String passwordFile;

    @Option(names = "--keytab", paramLabel = "FILE", defaultValue = "/nonexistent", description = "Keytab to read")
    private String keytab;

    @Option(names = "--kerberos", description = "The server takes Kerberos, too")
    private boolean kerberos;

    @Option(names = "--set-up", paramLabel = "FOLDER", description = "In the sandbox: set an appliance up, with files "
            + "in this folder, whose folder parent has the socket of a parent's database")
    private String setUp;

    @Option(names = "--agents", paramLabel = "FOLDER", description = "A fleet of agents, as tools/demo starts it")
    private String agents;

    @Option(names = "--services", paramLabel = "FOLDER", description = "In the sandbox: an update source, a central "
            + "console and a reputation server, as tools/demo starts them")
    private String services;

    @Option(names = {"-h", "--help"}, usageHelp = true, description = "Show this help")
    private boolean help;

    private int calls;
    private int surprises;

    @Override
    public Integer call() {
        Map<String, PeerMethod> methods =
                PeerMethod.all().stream().collect(Collectors.toMap(PeerMethod::name, method -> method));
        List<List<Tour.Stop>> chapters = new ArrayList<>();
        if (setUp != null) {
            chapters.addAll(setUp());
        }
        Map<String, String> connection = new HashMap<>();
        if (port != null) {
            connection.putAll(Map.of("vendor", vendor, "auth", "simple", "host", host, "port", port, "base-dn", base,
                    "bind-user", user, "groups-only", "false"));
            connection.put("bind-password", Passwords.read(passwordFile, "Password of the bind account"));
            chapters.addAll(directory());
        }
        if (agents != null) {
            chapters.addAll(new AgentTour(agents).stops());
        }
        if (services != null) {
            inSandbox();
            chapters.addAll(new ServicesTour(services).stops());
        }
        for (List<Tour.Stop> chapter : chapters) {
            for (Tour.Stop stop : chapter) {
                Map<String, String> arguments = new HashMap<>(connection);
                arguments.putAll(stop.arguments());
                if (stop.isCommand()) {
                    run(stop);
                } else {
                    visit(stop, methods.get(stop.method()), arguments);
                }
            }
        }
        Output.data(calls + " calls, " + surprises + " with another answer than expected. Log: "
                + InstallRoot.open().log());
        return (surprises == 0 ? Status.DONE : Status.FAILED).number();
    }

    private List<List<Tour.Stop>> directory() {
        Tour tour = new Tour(base);
        List<List<Tour.Stop>> chapters = new ArrayList<>(tour.stops());
        chapters.add(Tour.appliance(keytab,
                !InstallRoot.open().setting("General-Notification", "Administrator").isEmpty()));
        if (kerberos) {
            chapters.add(tour.kerberos());
        }
        return chapters;
    }

    private List<List<Tour.Stop>> setUp() {
        inSandbox();
        return new SetUpTour(setUp).stops();
    }

    private static void inSandbox() {
        if (!Files.isDirectory(Path.of("/run/sandbox/appliance"))) {
            throw new Refusal(Status.REFUSED, "this would change this machine", "run ./vesk demo");
        }
    }

    private void visit(Tour.Stop stop, PeerMethod method, Map<String, String> arguments) {
        Output.data(stop.title());
        Output.data("  " + method.name() + method.parameters().stream()
                .map(parameter -> shown(parameter, arguments)).collect(Collectors.joining(", ", "(", ")")));
        Answer answer = Answer.of(method, Values.of(method, arguments));
        Object value = answer.value() instanceof int[] numbers ? Arrays.toString(numbers) : answer.value();
        Output.data("  -> " + described(method, value));
        answer.lists().forEach(Demo::print);
        answer.failures().forEach(line -> Output.data("     log: " + line));
        calls++;
        compare(stop, value, answer.lists().stream().flatMap(List::stream).toList(),
                described(method, stop.answer()));
    }

    private void run(Tour.Stop stop) {
        Output.data(stop.title());
        Output.data("  " + stop.method());
        try {
            Process process = new ProcessBuilder("sh", "-c", stop.method().substring(2))
                    .redirectError(ProcessBuilder.Redirect.INHERIT).start();
            List<String> lines = process.inputReader(StandardCharsets.UTF_8).lines().toList();
            lines.forEach(line -> Output.text(line, "     "));
            compare(stop, process.waitFor(), lines, "exit code " + stop.answer());
        } catch (IOException | InterruptedException e) {
            throw new IllegalStateException(e);
        }
    }

    private void compare(Tour.Stop stop, Object answer, List<?> list, String expected) {
        String shown = list.stream().map(String::valueOf).collect(Collectors.joining(" "));
        if (stop.answer() != Tour.ANY && !answer.toString().equals(stop.answer().toString())) {
            surprises++;
            Output.data("  !! expected " + expected);
        } else if (stop.list() != null && !shown.equals(stop.list())) {
            surprises++;
            Output.data("  !! expected " + stop.list());
        }
        Output.data("");
    }

    private static String described(PeerMethod method, Object value) {
        boolean isCode = value instanceof Integer && method.form() != ConsoleCommand.Form.NUMBER;
        return isCode ? Meaning.describe(method, (Integer) value) : "\"" + value + '"';
    }

    private static String shown(Parameter parameter, Map<String, String> arguments) {
        Arg arg = PeerMethod.describe(parameter);
        if (arg == null) {
            return PeerMethod.isList(parameter) ? "list" : "null";
        }
        String text = arguments.get(arg.name());
        text = text == null ? null : Output.cut(text, LONGEST);
        boolean hidden = arg.from() == Arg.Source.SECRET && text != null && !text.isEmpty();
        return hidden ? "***" : text == null || parameter.getType().isPrimitive() ? text : '"' + text + '"';
    }

    private static void print(List<?> list) {
        list.stream().limit(SHOWN).map(String::valueOf)
                .forEach(text -> Output.text(text.isEmpty() ? "\n" : text, "     "));
        if (list.isEmpty() || list.size() > SHOWN) {
            Output.data(list.isEmpty() ? "     (empty list)" : "     ... " + list.size() + " in all");
        }
    }
}
