package com.brelvik.vesk.ui.ctl;

import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Deque;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import picocli.CommandLine.Help.Ansi;
import picocli.CommandLine.Model.ArgSpec;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.Model.OptionSpec;
import picocli.CommandLine.Model.UsageMessageSpec;
import picocli.CommandLine.Option;

/** Prints the manual page of veskctl, made from the command tree. Used by the build, and not in the jar. */
final class Manual {
    private final PrintStream out = new PrintStream(System.out, true, StandardCharsets.UTF_8);

    private Manual() {}

    /** Takes the version. */
    public static void main(String[] args) {
        new Manual().print(Main.commandLine().getCommandSpec(), args[0]);
    }

    private void print(CommandSpec veskctl, String version) {
        out.println(".TH VESKCTL 1 \"\" \"VESK " + version + "\" \"User Commands\"");
        out.println(".SH NAME\nveskctl \\- " + roff("the console's native methods on the command line"));
        out.println(".SH SYNOPSIS\n.B veskctl\n.I COMMAND\n.RI [ ARGUMENT ...]");
        out.println(".SH DESCRIPTION\n" + roff("Runs the native methods of the VESK console in a Java VM, as the "
                + "console does. Data goes to standard output, all else to standard error. Every command and group of "
                + "commands has --help."));
        out.println(".SH COMMANDS");
        commands(veskctl).forEach(this::command);
        out.println(".SH EXIT STATUS");
        for (Status status : Status.values()) {
            out.println(".TP\n.B " + status.number() + "\n" + roff(meaning(status)));
        }
        out.println(".SH ENVIRONMENT");
        item("VESK_HOME", "The install root; else the one that veskctl is installed in.");
        item("VESK_PASSWORD", "The password of a command that needs one and is given no --password-file.");
        item("JAVA_HOME", "The Java that runs veskctl; else the one on the path.");
        item("JAVA_TOOL_OPTIONS", "Options for the Java VM.");
        out.println(".SH FILES");
        item("/opt/brelvik/vesk", "The install root of the packages; the files below are in any other one as well.");
        item("/opt/brelvik/vesk/config/vesk.ini", "The console's settings. Its comments explain each of them.");
        item("/opt/brelvik/vesk/log/adminui.log", "What the native methods log, unless the settings name another file.");
        out.println(".SH SEE ALSO\n.BR java (1),\n.BR postconf (1)");
    }

    private static String meaning(Status status) {
        return switch (status) {
            case DONE -> "Done.";
            case NO -> "The answer is no.";
            case USAGE -> "Wrong usage.";
            case REFUSED -> "The input was refused.";
            case FAILED -> "A server or tool failed.";
            case NOT_LOADABLE -> "The library cannot be loaded.";
        };
    }

    /** All that can be run below {@code spec}, in the order of its help. */
    private static List<CommandSpec> commands(CommandSpec spec) {
        List<CommandSpec> found = new ArrayList<>();
        Deque<CommandSpec> open = new ArrayDeque<>(List.of(spec));
        while (!open.isEmpty()) {
            CommandSpec next = open.pop();
            List<CommandSpec> below = below(next);
            if (below.isEmpty()) {
                found.add(next);
            }
            for (int i = below.size(); i > 0; i--) {
                open.push(below.get(i - 1));
            }
        }
        return found;
    }

    private static List<CommandSpec> below(CommandSpec spec) {
        return spec.subcommands().values().stream().map(line -> line.getCommandSpec()).distinct()
                .filter(command -> !command.usageMessage().hidden()).toList();
    }

    private void command(CommandSpec spec) {
        UsageMessageSpec usage = spec.usageMessage();
        String words = Stream.concat(spec.positionalParameters().stream().map(Manual::label), Stream.of("[OPTION...]"))
                .collect(Collectors.joining(" "));
        out.println(".SS \"" + quoted(spec.qualifiedName()) + " " + quoted(words) + "\"");
        paragraph(usage.header());
        paragraph(usage.description());
        spec.positionalParameters().forEach(argument -> item(label(argument), description(argument)));
        spec.options().stream().filter(option -> !option.hidden() && !option.usageHelp())
                .forEach(option -> item(heading(option), description(option)));
        lines(usage.footer());
    }

    private void item(String heading, String text) {
        out.println(".TP\n.B \"" + quoted(heading) + "\"\n" + roff(text));
    }

    private void paragraph(String[] texts) {
        if (texts.length > 0) {
            out.println(roff(flowing(texts)));
        }
    }

    private void lines(String[] texts) {
        if (texts.length > 0) {
            out.println(".PP\n.nf");
            plain(texts).stream().flatMap(String::lines).filter(line -> !line.isBlank()).map(Manual::roff)
                    .forEach(out::println);
            out.println(".fi");
        }
    }

    private static String label(ArgSpec argument) {
        String label = argument.paramLabel() + (argument.isMultiValue() ? "..." : "");
        return argument.arity().min() == 0 ? "[" + label + "]" : label;
    }

    private static String heading(OptionSpec option) {
        boolean isSwitch = option.arity().max() == 0;
        return String.join(", ", option.names()) + (isSwitch ? "" : "=" + option.paramLabel());
    }

    private static String description(ArgSpec argument) {
        String text = flowing(argument.description());
        String value = argument.defaultValue();
        boolean told = value == null || value.isEmpty() || value.equals("false") || value.equals(Option.NULL_VALUE)
                || text.contains("Default: ");
        return told ? text : text + ". Default: " + value;
    }

    private static String flowing(String[] texts) {
        return String.join(" ", plain(texts)).strip().replaceAll("\\s+", " ");
    }

    private static List<String> plain(String[] texts) {
        return Stream.of(texts).map(text -> Ansi.OFF.string(text.replace("%n", "\n"))).toList();
    }

    /** Text between double quotes in a request. */
    private static String quoted(String text) {
        return roff(text).replace("\"", "\\(dq");
    }

    // A hyphen is what one types, and a point or quote at the beginning of a line no request.
    private static String roff(String text) {
        return text.replace("\\", "\\e").replace("-", "\\-").replace("'", "\\(aq").replace("^", "\\(ha")
                .replace("~", "\\(ti").replaceAll("(?m)^\\.", "\\\\&.");
    }
}
