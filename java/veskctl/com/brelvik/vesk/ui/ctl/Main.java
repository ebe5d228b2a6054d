package com.brelvik.vesk.ui.ctl;

import java.io.PrintWriter;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import picocli.AutoComplete;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.Option;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.ParseResult;
import picocli.CommandLine.UnmatchedArgumentException;

/** The console on the command line. */
@Command(name = "veskctl", header = "The console's native methods on the command line.",
        subcommands = {CallCommand.class, CodeCommand.class, Demo.class, Doctor.class},
        footer = {"", "Exit status: 0 done, 1 answered no, 2 usage, 3 input refused, 4 server or tool failed, "
                + "5 library not loadable.",
                "VESK_HOME names the install root; -Dvesk.jni.library=FILE, for the VM, the native library."})
public final class Main {
    @Option(names = {"-h", "--help"}, usageHelp = true, description = "Show this help")
    private boolean help;

    private Main() {}

    public static void main(String[] args) {
        System.exit(commandLine().execute(RawProcess.arguments(args)));
    }

    static CommandLine commandLine() {
        CommandLine line = new CommandLine(new Main());
        PeerCommand.addAll(line.getCommandSpec());
        line.getSubcommands().get("directory").addSubcommand(new Explain().spec());
        line.getSubcommands().get("call").setStopAtPositional(true);
        line.getSubcommands().get("code").setUnmatchedOptionsArePositionalParams(true);  // -1 is no option
        return line.setExpandAtFiles(false).setInterpolateVariables(false).setUsageHelpWidth(100)
                .setOut(new PrintWriter(Output.out(), true)).setErr(new PrintWriter(Output.err(), true))
                .setParameterExceptionHandler(Main::misused).setExecutionExceptionHandler(Main::refused)
                .setExecutionStrategy(Main::run);
    }

    @Command(name = "completion", header = "Print a completion script for bash: eval \"$(veskctl completion)\".")
    int completion(@Option(names = {"-h", "--help"}, usageHelp = true, description = "Show this help") boolean asked) {
        Output.out().print(AutoComplete.bash("veskctl", commandLine()));
        return Status.DONE.number();
    }

    private static int run(ParseResult parsed) {
        ParseResult last = parsed;
        while (last.hasSubcommand()) {
            last = last.subcommand();
        }
        if (!last.isUsageHelpRequested() && !last.commandSpec().subcommands().isEmpty()) {
            throw new ParameterException(last.commandSpec().commandLine(), "a command is missing");
        }
        return new CommandLine.RunLast().execute(parsed);
    }

    private static int misused(ParameterException e, String[] args) {
        CommandSpec spec = e.getCommandLine().getCommandSpec();
        String command = spec.qualifiedName();
        String happened = e.getMessage();
        String word = e instanceof UnmatchedArgumentException unmatched ? unmatched.getUnmatched().stream()
                .filter(unknown -> !unknown.equals("--json")).findFirst().orElse(null) : null;
        if (word != null && !word.startsWith("-")) {
            happened = (spec.subcommands().isEmpty() ? "one argument too many: " : "no such command: ") + word;
        }
        tell(Arrays.asList(args).contains("--json"), command, happened, "see " + command + " --help");
        return Status.USAGE.number();
    }

    private static int refused(Exception e, CommandLine line, ParseResult parsed) {
        CommandSpec spec = line.getCommandSpec();
        String asked = spec.userObject() instanceof PeerCommand command ? command.asked()
                : PeerArguments.asked(spec);
        OptionSpec option = spec.findOption("--json");
        boolean json = option != null && Boolean.TRUE.equals(option.getValue());
        if (!(e instanceof Refusal refusal)) {
            e.printStackTrace(Output.err());
            tell(json, asked, "an error in veskctl: " + e, "report it, with the stack trace");
            return Status.FAILED.number();
        }
        tell(json, asked, refusal.getMessage(), refusal.next());
        return refusal.status().number();
    }

    private static void tell(boolean json, String asked, String happened, String next) {
        if (!json) {
            Output.error(asked, happened, List.of(), next);
            return;
        }
        Map<String, String> told = new LinkedHashMap<>();
        told.put("asked", asked);
        told.put("happened", happened);
        told.put("next", next);
        Output.out().println(Json.of(Map.of("error", told)));
    }
}
