package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.jni.Arg;
import com.brelvik.vesk.ui.modelobjects.jni.ConsoleCommand;
import java.lang.reflect.Parameter;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import picocli.CommandLine.Model.ArgSpec;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.Model.PositionalParamSpec;

/** The arguments of a native method on a command's line. */
final class PeerArguments {
    private static final int LONGEST = 200;

    private final PeerMethod method;
    private final CommandSpec spec;
    private int positions;

    /** Adds them to the command. */
    PeerArguments(PeerMethod method, CommandSpec spec) {
        this.method = method;
        this.spec = spec;
        for (Parameter parameter : method.parameters()) {
            Arg arg = PeerMethod.describe(parameter);
            if (arg != null) {
                add(parameter, arg);
            }
        }
    }

    /**
     * What was given, by name, a password that was asked for included.
     *
     * @throws Refusal when something is not fit for the method
     */
    Map<String, String> texts() {
        Map<String, String> texts = new LinkedHashMap<>();
        Parameter secret = null;
        for (Parameter parameter : method.parameters()) {
            Arg arg = PeerMethod.describe(parameter);
            if (arg != null && (arg.from() == Arg.Source.SECRET || arg.from() == Arg.Source.INPUT)) {
                secret = parameter;  // last, so that nobody types a password for a call that is refused
            } else if (arg != null && arg.from() != Arg.Source.IMPLIED) {
                Object given = spec(arg).getValue();
                if (given instanceof List<?> list && list.contains("")) {
                    Shapes.check(arg, "");  // joined, a single one would be no element at all
                }
                String text = given instanceof List<?> list ? String.join(",", list.toArray(String[]::new))
                        : given.toString();
                texts.put(arg.name(), text);
                Values.of(parameter, text);
            }
        }
        if (secret != null) {
            Arg arg = PeerMethod.describe(secret);
            texts.put(arg.name(), arg.from() == Arg.Source.INPUT ? input(arg) : password(arg));
            Values.of(secret, texts.get(arg.name()));
        }
        return texts;
    }

    /** The command with its arguments, long ones cut; passwords are not among them. */
    static String asked(CommandSpec spec) {
        return spec.qualifiedName() + spec.args().stream().flatMap(PeerArguments::asked).map(text -> " " + text)
                .collect(Collectors.joining());
    }

    private static Stream<String> asked(ArgSpec arg) {
        Object given = arg.getValue();
        String name = arg instanceof OptionSpec option ? option.longestName() : "";
        if (given instanceof List<?> list) {
            return list.stream().map(text -> word(text.toString()));
        }
        if (given instanceof Boolean isOn) {
            return isOn ? Stream.of(name) : Stream.of();
        }
        boolean isLeftOut = given == null || "".equals(given) && "".equals(arg.defaultValue());
        return isLeftOut ? Stream.of() : Stream.of((name.isEmpty() ? "" : name + "=") + word(given.toString()));
    }

    private static String word(String text) {
        return text.isEmpty() ? "''" : Output.cut(text, LONGEST);
    }

    private String input(Arg arg) {
        return Passwords.input(spec.findOption("--" + arg.name() + "-file").getValue(), arg.name());
    }

    // An anonymous session has no password.
    private String password(Arg arg) {
        OptionSpec user = spec.findOption("--" + arg.account());
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

    private void add(Parameter parameter, Arg arg) {
        switch (arg.from()) {
            case OPTION -> spec.addOption(option(parameter, arg));
            case POSITION -> spec.addPositional(parameter.getType() == ArrayList.class
                    ? PositionalParamSpec.builder().index(positions++ + "..*").arity("1..*").required(true)
                            .type(List.class).auxiliaryTypes(String.class).paramLabel(arg.name())
                            .description(arg.help()).build()
                    : PositionalParamSpec.builder().index(Integer.toString(positions++)).arity("1").required(true)
                            .type(String.class).paramLabel(arg.name()).description(arg.help()).build());
            case INPUT -> spec.addOption(OptionSpec.builder("--" + arg.name() + "-file").type(String.class)
                    .paramLabel("FILE").description(arg.help() + ": this file, else standard input").build());
            case IMPLIED -> { }
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
}
