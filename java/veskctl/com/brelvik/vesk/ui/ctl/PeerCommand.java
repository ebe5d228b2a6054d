package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.jni.OwnCode;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;

/** A command made from the annotations of a native method. */
final class PeerCommand implements Callable<Integer> {
    private static final String DRY_RUN = "--dry-run";

    private final PeerMethod method;
    private final CommandSpec spec;
    private final PeerArguments arguments;

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
        this.arguments = new PeerArguments(method, spec);
        if (method.runsOnlyCommands()) {
            spec.addOption(OptionSpec.builder(DRY_RUN).type(boolean.class).defaultValue("false")
                    .description("Run nothing; show what would be run, as if all of it went well").build());
        }
        spec.addOption(jsonOption());
        spec.addOption(helpOption());
    }

    @Override
    public Integer call() {
        Map<String, String> texts = arguments.texts();
        Object[] values = Values.of(method, texts);
        boolean json = spec.findOption("--json").getValue();
        if (method.runsOnlyCommands() && spec.findOption(DRY_RUN).<Boolean>getValue()) {
            return DryRun.print(method, texts, json).number();
        }
        return Answer.of(method, values).print(PeerArguments.asked(spec), json).number();
    }

    private String[] footer() {
        IntStream own = method.ownCodes().stream().mapToInt(OwnCode::code);
        List<String> lines = new ArrayList<>(List.of("%nCodes of " + method.name() + ":"));
        IntStream.concat(own, IntStream.of(method.command().codes())).sorted().distinct()
                .forEach(code -> lines.add("  " + Meaning.describe(method, code)));
        switch (method.form()) {
            case WAIT_STATUS -> lines.add("  others: the command's wait status, which is told in words");
            case EXIT_CODE -> lines.add("  others: the command's exit code");
            default -> { }
        }
        return lines.toArray(String[]::new);
    }

    static OptionSpec jsonOption() {
        return OptionSpec.builder("--json").type(boolean.class).defaultValue("false")
                .description("Answer as one line of JSON").build();
    }

    static OptionSpec helpOption() {
        return OptionSpec.builder("-h", "--help").usageHelp(true).description("Show this help").build();
    }
}
