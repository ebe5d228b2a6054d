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

/** A command made from the annotations of a native method. Where these do not say all, there is a class of its own. */
class PeerCommand implements Callable<Integer> {
    private static final String DRY_RUN = "--dry-run";

    final PeerMethod method;
    final CommandSpec spec;
    private final PeerArguments arguments;

    /** Adds all groups of commands to {@code root}. */
    static void addAll(CommandSpec root) {
        Map<String, List<PeerMethod>> groups = PeerMethod.all().stream().filter(method -> method.command() != null)
                .collect(Collectors.groupingBy(method -> method.command().group(), TreeMap::new, Collectors.toList()));
        groups.forEach((name, methods) -> {
            CommandSpec group = CommandSpec.create().name(name).addOption(helpOption());
            group.usageMessage().header(purpose(name));
            methods.forEach(method -> group.addSubcommand(method.command().name(), of(method).spec));
            root.addSubcommand(name, group);
        });
    }

    private static String purpose(String group) {
        return switch (group) {
            case "agent" -> "Test scanner agents, command them, and tell many of them something at once.";
            case "directory" -> "Look up accounts and groups in a directory, and see why that fails.";
            case "euq" -> "The end-user quarantine: switches, areas, jobs.";
            case "host" -> "IPv6 forms, processes, settings, export and import of the configuration.";
            case "kerberos" -> "Look into a Kerberos keytab.";
            case "mta-log" -> "Read the mail log of a scanner.";
            case "policy" -> "Check keyword expressions, and ask for an update of the policy.";
            case "postfix" -> "Parameters of Postfix, look-up tables, client restrictions, PEM files.";
            case "quarantine" -> "Show and export messages in an agent's quarantine, and flush its queues.";
            case "reputation" -> "Ask the reputation server for its status.";
            case "signon" -> "Check and answer sessions of the central console.";
            case "update" -> "Update components, take them back, and encrypt texts for the settings.";
            case "wizard" -> "The steps of the set-up wizard: host name, network, clock, registration.";
            default -> "The methods of the group " + group + " as commands.";
        };
    }

    private static PeerCommand of(PeerMethod method) {
        return switch (method.name()) {
            case "SystemMonitorJNI.PostSetNotifyAllScanners", "SystemMonitorJNI.PatchSetNotify" -> new Fleet(method);
            case "QuarantineJNI.getEmail", "QuarantineJNI.getEmail_P" -> new MessageExport(method);
            case "MTAlogJNI.getMTAEventSubmit" -> new MailLog(method);
            case "UpdateJNI.manualUpdate", "UpdateJNI.rollback" -> new ComponentChange(method);
            case "UpdateJNI.getCurrentVersion" -> new ComponentVersions(method);
            case "CorsaJNI.CreateReponse" -> new SignOn(method);
            case "QUORJNI.quorChkServerStatus" -> new ReputationCheck(method);
            case "EuqJNI.isEuqEnable" -> new QuarantineStatus(method);
            case "EuqJNI.transferEuqData", "EuqJNI.removeEuqData" -> new QuarantineJob(method);
            case "EuqJNI.getTransferEuqResult", "EuqJNI.getRemoveEuqResult" -> new QuarantineResult(method);
            default -> new PeerCommand(method);
        };
    }

    PeerCommand(PeerMethod method) {
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
    public final Integer call() {
        checkOptions();
        Map<String, String> texts = arguments.texts();
        boolean json = spec.findOption("--json").getValue();
        if (method.runsOnlyCommands() && spec.findOption(DRY_RUN).<Boolean>getValue()) {
            Values.of(method, texts);  // what does not fit is refused all the same
            return DryRun.print(method, texts, json).number();
        }
        return run(texts, json).number();
    }

    /** Refuses options that do not belong together, before a password is asked for. */
    void checkOptions() {}

    /** Does what was asked, with what was given by name. */
    Status run(Map<String, String> texts, boolean json) {
        return Answer.of(method, Values.of(method, texts)).print(asked(), json);
    }

    /** The command with its arguments, passwords not among them. */
    String asked() {
        return PeerArguments.asked(spec);
    }

    /** Adds an option for a text, which is null without it. */
    final void addText(String name, String label, String help) {
        spec.addOption(OptionSpec.builder(name).type(String.class).paramLabel(label).description(help).build());
    }

    final void addSwitch(String name, String help) {
        spec.addOption(OptionSpec.builder(name).type(boolean.class).defaultValue("false").description(help).build());
    }

    final <T> T option(String name) {
        return spec.findOption(name).getValue();
    }

    private String[] footer() {
        IntStream own = method.ownCodes().stream().mapToInt(OwnCode::code);
        List<String> lines = new ArrayList<>();
        IntStream.concat(own, IntStream.of(method.command().codes())).sorted().distinct()
                .forEach(code -> lines.add("  " + Meaning.describe(method, code)));
        switch (method.form()) {
            case WAIT_STATUS -> lines.add("  others: the command's wait status, which is told in words");
            case EXIT_CODE -> lines.add("  others: the command's exit code");
            case UNTOLD -> lines.add("  -n " + Meaning.untold().name() + ", " + Meaning.untold().text());
            default -> { }
        }
        if (!lines.isEmpty()) {
            lines.add(0, "%nCodes of " + method.name() + ":");
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
