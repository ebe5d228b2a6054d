package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.jni.Arg;
import com.brelvik.vesk.ui.modelobjects.jni.ConsoleCommand;
import java.lang.reflect.Parameter;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;
import picocli.CommandLine.Model.ArgSpec;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.Model.PositionalParamSpec;

/** A command made from the annotations of a native method. */
final class PeerCommand implements Callable<Integer> {
    private final PeerMethod method;
    private final CommandSpec spec;
    private int positions;

    /** Adds all groups of commands to {@code root}. */
    static void addAll(CommandSpec root) {
        Map<String, List<PeerMethod>> groups = PeerMethod.all().stream().filter(method -> method.command() != null)
                .collect(Collectors.groupingBy(method -> method.command().group(), TreeMap::new, Collectors.toList()));
        groups.forEach((name, methods) -> {
            CommandSpec group = CommandSpec.create().name(name).addOption(helpOption());
            group.usageMessage().header("The methods of the group " + name + " as commands.");
            methods.forEach(method -> group.addSubcommand(method.command().name(), new PeerCommand(method).spec));
            root.addSubcommand(name, group);
        });
    }

    private PeerCommand(PeerMethod method) {
        this.method = method;
        this.spec = CommandSpec.wrapWithoutInspection(this).name(method.command().name());
        spec.usageMessage().header(method.command().help()).sortOptions(false).footer(footer());
        for (Parameter parameter : method.parameters()) {
            Arg arg = PeerMethod.describe(parameter);
            if (arg != null) {
                add(parameter, arg);
            }
        }
        spec.addOption(OptionSpec.builder("--json").type(boolean.class).defaultValue("false")
                .description("Answer as one line of JSON").build());
        spec.addOption(helpOption());
    }

    @Override
    public Integer call() {
        List<Parameter> parameters = method.parameters();
        Object[] values = new Object[parameters.size()];
        int secret = -1;
        for (int i = 0; i < values.length; i++) {
            Arg arg = PeerMethod.describe(parameters.get(i));
            if (arg != null && arg.from() == Arg.Source.SECRET) {
                secret = i;  // last, so that nobody types a password for a call that is refused
            } else {
                values[i] = value(parameters.get(i), arg);
            }
        }
        if (secret >= 0) {
            values[secret] = Values.of(parameters.get(secret), password(PeerMethod.describe(parameters.get(secret))));
        }
        boolean json = spec.findOption("--json").getValue();
        return Answer.of(method, values).print(asked(), json).number();
    }

    private Object value(Parameter parameter, Arg arg) {
        if (PeerMethod.isList(parameter)) {
            return new ArrayList<String>();
        }
        if (arg == null) {
            return null;
        }
        Object given = spec(arg).getValue();
        return given instanceof Boolean ? given : Values.of(parameter, (String) given);
    }

    // An anonymous session has no password.
    private String password(Arg arg) {
        OptionSpec user = spec.findOption("--bind-user");
        if (user != null && user.<String>getValue().isEmpty()) {
            return "";
        }
        String file = spec.findOption("--password-file").getValue();
        return Passwords.read(file, arg.help());
    }

    private ArgSpec spec(Arg arg) {
        return arg.from() == Arg.Source.OPTION ? spec.findOption("--" + arg.name())
                : spec.positionalParameters().stream().filter(known -> known.paramLabel().equals(arg.name()))
                        .findFirst().orElseThrow();
    }

    /** The command with its arguments; passwords are not among them. */
    String asked() {
        return spec.qualifiedName() + spec.args().stream().filter(arg -> arg.getValue() instanceof String)
                .filter(arg -> !arg.<String>getValue().isEmpty())
                .map(arg -> " " + (arg instanceof OptionSpec option ? option.longestName() + "=" : "") + arg.getValue())
                .collect(Collectors.joining());
    }

    private void add(Parameter parameter, Arg arg) {
        switch (arg.from()) {
            case OPTION -> spec.addOption(option(parameter, arg));
            case POSITION -> spec.addPositional(PositionalParamSpec.builder().index(Integer.toString(positions++))
                    .arity("1").required(true).type(String.class).paramLabel(arg.name()).description(arg.help())
                    .build());
            case SECRET -> spec.addOption(OptionSpec.builder("--password-file").type(String.class).paramLabel("FILE")
                    .description(arg.help() + ": first line of this file; else the variable " + Passwords.VARIABLE
                            + ", else a prompt").build());
        }
    }

    private static OptionSpec option(Parameter parameter, Arg arg) {
        OptionSpec.Builder option = OptionSpec.builder("--" + arg.name());
        if (parameter.getType() == boolean.class) {
            return option.type(boolean.class).defaultValue("false").description(arg.help()).build();
        }
        ConsoleCommand command = parameter.getDeclaringExecutable().getAnnotation(ConsoleCommand.class);
        String variable = ("VESK_" + command.group() + "_" + arg.name()).replace('-', '_').toUpperCase(Locale.ROOT);
        String preset = RawProcess.variable(variable) == null ? arg.fallback() : RawProcess.variable(variable);
        List<String> words = Values.words(arg).toList();
        String help = arg.help() + (words.isEmpty() ? "" : ": " + String.join(", ", words)) + " ($" + variable + ")";
        option.type(String.class).paramLabel(words.isEmpty() ? "X" : "WORD").completionCandidates(words);
        if (preset.equals(Arg.REQUIRED)) {
            return option.required(true).description(help).build();
        }
        // In a help text @| begins markup, in a value from a variable it does not.
        String shown = "  Default: " + Output.shown(preset).replace("@|", "\\u0040|");
        return option.defaultValue(preset).description(preset.isEmpty() ? new String[] {help}
                : new String[] {help, shown}).build();
    }

    private String[] footer() {
        return Arrays.stream(method.command().codes()).mapToObj(code -> "  " + Answer.describe(code))
                .collect(Collectors.collectingAndThen(Collectors.toList(), lines -> {
                    lines.add(0, "%nCodes of " + method.name() + ":");
                    return lines.toArray(String[]::new);
                }));
    }

    private static OptionSpec helpOption() {
        return OptionSpec.builder("-h", "--help").usageHelp(true).description("Show this help").build();
    }
}
