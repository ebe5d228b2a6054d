package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.ResultCode;
import java.util.concurrent.Callable;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

@Command(name = "code", header = "Explain a result code.",
        description = {"", "Without a number, all codes are listed."})
final class CodeCommand implements Callable<Integer> {
    @Parameters(arity = "0..1", paramLabel = "N", description = "e.g. 205")
    private Integer number;

    @Option(names = "--markdown", description = "All codes as a Markdown table")
    private boolean markdown;

    @Option(names = {"-h", "--help"}, usageHelp = true, description = "Show this help")
    private boolean help;

    @Override
    public Integer call() {
        if (markdown) {
            Output.data("| Code | Name | Meaning | Likely causes | Cures |");
            Output.data("|---|---|---|---|---|");
        }
        for (ResultCode code : ResultCode.values()) {
            if (markdown) {
                Output.data("| " + code.code() + " | `" + code + "` | " + code.meaning() + " | " + code.causes() + " | "
                        + code.cures() + " |");
            } else if (number == null) {
                Output.data(Answer.describe(code.code()));
            }
        }
        return number == null ? Status.DONE.number() : explain(number);
    }

    private static int explain(int number) {
        ResultCode code = ResultCode.of(number);
        if (code == null) {
            throw new Refusal(Status.USAGE, number + " is no result code", "run 'veskctl code' for a list");
        }
        Output.data(code.code() + " " + code);
        Output.data("meaning: " + code.meaning());
        if (!code.causes().isEmpty()) {
            Output.data("likely:  " + code.causes());
            Output.data("do:      " + code.cures());
        }
        return Status.DONE.number();
    }
}
