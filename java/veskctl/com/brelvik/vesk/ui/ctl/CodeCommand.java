package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.ResultCode;
import com.brelvik.vesk.ui.modelobjects.jni.ConsoleCommand;
import com.brelvik.vesk.ui.modelobjects.jni.OwnCode;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

@Command(name = "code", header = "Explain a result code.",
        description = {"", "Without a number, all codes are listed."})
final class CodeCommand implements Callable<Integer> {
    @Parameters(arity = "0..1", paramLabel = "N", description = "e.g. 205")
    private Integer number;

    @Option(names = "--markdown", description = "All codes as Markdown tables")
    private boolean markdown;

    @Option(names = {"-h", "--help"}, usageHelp = true, description = "Show this help")
    private boolean help;

    /** A code, and the method or, for several of its methods, the class whose own it is; empty for the shared ones. */
    private record Entry(String method, String code, Meaning meaning) {
        private static final String COUNT = "-n";

        private Entry(String method, Meaning meaning) {
            this(method, Integer.toString(meaning.code()), meaning);
        }

        static List<Entry> all() {
            List<Entry> entries = new ArrayList<>();
            for (ResultCode code : ResultCode.values()) {
                entries.add(new Entry("", Meaning.of(code)));
            }
            Set<String> peers = new HashSet<>();
            for (PeerMethod method : PeerMethod.all()) {
                String peer = method.method().getDeclaringClass().getSimpleName();
                List<OwnCode> shared = method.sharedCodes();
                if (peers.add(peer)) {
                    shared.forEach(code -> entries.add(new Entry(peer, Meaning.of(code))));
                }
                method.ownCodes().stream().filter(own -> !shared.contains(own))
                        .forEach(own -> entries.add(new Entry(method.name(), Meaning.of(own))));
                if (method.form() == ConsoleCommand.Form.UNTOLD) {
                    entries.add(new Entry(method.name(), COUNT, Meaning.untold()));
                }
            }
            return entries;
        }

        boolean isShared() {
            return method.isEmpty();
        }

        boolean has(int number) {
            return code.equals(COUNT) ? number < 0 : meaning.code() == number;
        }

        void explain() {
            Output.data(code + " " + meaning.name() + (isShared() ? "" : " (" + method + ")"));
            line("meaning: ", meaning.text());
            line("likely:  ", meaning.causes());
            line("do:      ", meaning.cures());
        }

        private static void line(String label, String text) {
            if (!text.isEmpty()) {
                Output.data(label + text);
            }
        }
    }

    @Override
    public Integer call() {
        List<Entry> entries = Entry.all();
        if (markdown) {
            tables(entries);
        } else if (number == null) {
            entries.forEach(entry -> Output.data((entry.isShared() ? "" : entry.method() + ": ") + entry.code() + " "
                    + entry.meaning().name() + ", " + entry.meaning().text()));
        } else {
            explain(entries.stream().filter(entry -> entry.has(number)).toList());
        }
        return Status.DONE.number();
    }

    private void explain(List<Entry> found) {
        if (found.isEmpty()) {
            throw new Refusal(Status.USAGE, number + " is no result code", "run 'veskctl code' for a list");
        }
        found.forEach(Entry::explain);
    }

    private static void tables(List<Entry> entries) {
        row("Code", "Name", "Meaning", "Likely causes", "Cures");
        Output.data("|---|---|---|---|---|");
        entries.stream().filter(Entry::isShared).map(Entry::meaning).forEach(shared -> row(shared.code(),
                "`" + shared.name() + "`", shared.text(), shared.causes(), shared.cures()));
        Output.data("");
        Output.data("## Codes of single methods");
        Output.data("");
        row("Method", "Code", "Name", "Meaning", "Cures");
        Output.data("|---|---|---|---|---|");
        for (Entry entry : entries) {
            Meaning own = entry.meaning();
            if (!entry.isShared()) {
                row("`" + entry.method() + "`", entry.code(), "`" + own.name() + "`", own.text(), own.cures());
            }
        }
    }

    private static void row(Object... cells) {
        Output.data(Arrays.stream(cells).map(cell -> String.valueOf(cell).replace("|", "\\|"))
                .collect(Collectors.joining(" | ", "| ", " |")));
    }
}
