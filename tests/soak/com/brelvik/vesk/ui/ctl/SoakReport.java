package com.brelvik.vesk.ui.ctl;

import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.Map;

/** Prints what a soak came to, and checks it. */
final class SoakReport {
    private static final double MOST_GROWTH = 1024; // bytes a thousand calls

    private final Storm storm;
    private final Gauge gauge;
    private final Gauge.Sample first;
    private final long references;
    private final List<String> failures = new ArrayList<>();

    /**
     * @param first before the storm
     * @param references global ones, before it
     */
    SoakReport(Storm storm, Gauge gauge, Gauge.Sample first, long references) {
        this.storm = storm;
        this.gauge = gauge;
        this.first = first;
        this.references = references;
    }

    static void progress(Gauge.Sample sample, long complained) {
        say("%9d calls, %d wrong, C heap %.1f MiB, resident %.1f MiB, %d descriptors, %d threads", sample.calls(),
                complained, mebi(sample.heap()), mebi(sample.resident()), sample.descriptors(), sample.threads());
    }

    /** @return whether every check holds */
    boolean print(int restarts) {
        entryPoints();
        calls();
        memory();
        handles();
        latency();
        say("%d restarts of servers", restarts);
        failures.forEach(failure -> say("FAILED: %s", failure));
        say("soak: %d calls, %s", storm.done(), failures.isEmpty() ? "ok" : failures.size() + " checks failed");
        return failures.isEmpty();
    }

    private void entryPoints() {
        say("%-48s %8s %9s %9s %9s %9s  answers", "entry point, times in ms", "calls", "p50", "p95", "p99", "max");
        storm.tallies().forEach((name, tally) -> {
            Latencies all = tally.all();
            say("%-48s %8d %9.3f %9.3f %9.3f %9.3f  %s", name, tally.calls(), milli(all.percentile(0.5)),
                    milli(all.percentile(0.95)), milli(all.percentile(0.99)), milli(tally.slowest()), tally.answers());
        });
    }

    private void calls() {
        storm.complaints().stream().distinct().limit(20).forEach(complaint -> say("wrong: %s", complaint));
        check(storm.complained() == 0, "%d calls answered what they may not, threw or hung", storm.complained());
    }

    private void memory() {
        double heap = gauge.slope(Gauge.Sample::heap);
        double kept = gauge.slope(Gauge.Sample::kept);
        double resident = gauge.slope(Gauge.Sample::resident);
        Gauge.Sample last = Gauge.now(storm.done(), storm.kept());
        say("C heap in use: %.1f MiB before, %.1f MiB after, of which %.1f MiB are kept on purpose",
                mebi(first.heap()), mebi(last.heap()), mebi(storm.kept()));
        say("  slope %.0f bytes a thousand calls, of which kept on purpose %.0f", heap, kept);
        say("resident without Java heap: %.1f MiB before, %.1f MiB after; slope %.0f bytes a thousand calls",
                mebi(first.resident()), mebi(last.resident()), resident);
        NativeHeap.trim();
        say("  after what is free in the C heap was given back: %.1f MiB", mebi(Gauge.now(0, 0).resident()));
        check(heap - kept < MOST_GROWTH, "the C heap grows by %.0f bytes a thousand calls", heap - kept);
    }

    private void handles() {
        Gauge.Sample last = Gauge.now(storm.done(), storm.kept());
        long opened = answered("LdapJNI.getUserByMail");
        say("descriptors: %d before, %d after", first.descriptors(), last.descriptors());
        say("threads: %d before, %d after", first.threads(), last.threads());
        Gauge.Children children = Gauge.children();
        say("children: %d living, %d zombies", children.living(), children.zombies());
        say("global references: %d before, %d after", references, Gauge.globalReferences());
        check(children.zombies() == 0, "%d zombies", children.zombies());
    }

    private long answered(String name) {
        return storm.tallies().get(name).calls();
    }

    private void latency() {
    }

    private void check(boolean holds, String failure, Object... values) {
        if (!holds) {
            failures.add(String.format(Locale.ROOT, failure, values));
        }
    }

    private static double milli(long nanoseconds) {
        return nanoseconds / 1e6;
    }

    private static double mebi(long bytes) {
        return bytes / 1048576.0;
    }

    private static void say(String text, Object... values) {
        Output.data(String.format(Locale.ROOT, text, values));
    }
}
