package com.brelvik.vesk.ui.ctl;

import java.io.PrintStream;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.Map;

/** Prints what a soak came to, and checks it. */
final class SoakReport {
    private static final double MOST_GROWTH = 1024; // bytes a thousand calls
    // Before, what the calls of one moment hold moves the slope by more than it may be.
    private static final long LEAST_CALLS = 500_000;
    private static final long LEAST_TIMES = 300;
    private static final double MOST_SLOWING = 1.5;

    private final PrintStream out;
    private final Storm storm;
    private final Gauge gauge;
    private final Gauge.Sample first;
    private final Map<String, Long> kinds;
    private final long references;
    private final List<String> failures = new ArrayList<>();

    /**
     * @param first before the storm
     * @param kinds of descriptors, before it
     * @param references global ones, before it
     */
    SoakReport(PrintStream out, Storm storm, Gauge gauge, Gauge.Sample first, Map<String, Long> kinds, long references) {
        this.out = out;
        this.storm = storm;
        this.gauge = gauge;
        this.first = first;
        this.kinds = kinds;
        this.references = references;
    }

    void progress(Gauge.Sample sample) {
        say("%9d calls, %d wrong, C heap %.1f MiB (%.1f on purpose), resident %.1f MiB, %d descriptors, %d threads",
                sample.calls(), storm.complained(), mebi(sample.heap()), mebi(sample.kept().bytes()),
                mebi(sample.resident()), sample.descriptors(), sample.threads());
    }

    /** @return whether every check holds */
    boolean print(Steward steward) {
        entryPoints();
        storm.complaints().stream().distinct().limit(20).forEach(complaint -> say("wrong: %s", complaint));
        check(storm.complained() == 0, "%d calls answered what they may not, threw or hung", storm.complained());
        say("%d restarts of servers", steward.restarts());
        check(steward.failure() == null, "the servers are not restarted any more: %s", steward.failure());
        if (storm.done() >= LEAST_CALLS) {
            slopes();
            latency();
        } else {
            say("memory and latency: too few calls to tell");
        }
        residue();
        failures.forEach(failure -> say("FAILED: %s", failure));
        say("soak: %d calls, %s", storm.done(), failures.isEmpty() ? "ok" : failures.size() + " checks failed");
        return failures.isEmpty();
    }

    private void entryPoints() {
        say("%-46s %8s %9s %9s %9s %9s  answers", "entry point, times in ms", "calls", "p50", "p95", "p99", "max");
        storm.tallies().forEach((name, tally) -> say("%-46s %8d %9.3f %9.3f %9.3f %9.3f  %s", name, tally.calls(),
                tally.milliseconds(0.5), tally.milliseconds(0.95), tally.milliseconds(0.99), tally.milliseconds(1),
                tally.answers()));
    }

    private void slopes() {
        double kept = gauge.slope(sample -> sample.kept().bytes());
        double other = gauge.slope(sample -> sample.libraries() - sample.kept().bytes());
        double texts = gauge.slope(sample -> sample.kept().texts());
        double copies = gauge.slope(sample -> sample.copies() - sample.kept().texts());
        say("bytes a thousand calls, by least squares after a first third:");
        say("  C heap of the libraries: kept on purpose %.0f, else %.0f", kept, other);
        say("  C heap of the VM for native code: kept on purpose %.0f, else %.0f", texts, copies);
        say("  all C heap of the VM %.0f; resident without Java heap %.0f", gauge.slope(Gauge.Sample::vm),
                gauge.slope(Gauge.Sample::resident));
        check(other < MOST_GROWTH, "the libraries' heap grows by %.0f bytes a thousand calls", other);
        check(copies < MOST_GROWTH, "the VM's copies grow by %.0f bytes a thousand calls", copies);
    }

    private void latency() {
        double[] slowing = storm.tallies().values().stream()
                .filter(tally -> tally.third(1).count() >= LEAST_TIMES && tally.third(2).count() >= LEAST_TIMES)
                .mapToDouble(tally -> (double) tally.third(2).percentile(0.99) / tally.third(1).percentile(0.99))
                .sorted().toArray();
        double median = slowing.length == 0 ? 1 : slowing[slowing.length / 2];
        say("p99 of the last third is %.2f times that of the middle one (median of %d entry points)", median,
                slowing.length);
        check(median <= MOST_SLOWING, "calls become slower: p99 of the last third is %.2f times the middle one's",
                median);
    }

    private void residue() {
        Kept kept = storm.kept();
        Gauge.Sample last = Gauge.now(storm.done(), kept);
        say("C heap in use: %.1f MiB before, %.1f after, of it the VM's %.1f and %.1f; kept on purpose %.1f by the "
                + "libraries, %.1f by the VM", mebi(first.heap()), mebi(last.heap()), mebi(first.vm()),
                mebi(last.vm()), mebi(kept.bytes()), mebi(kept.texts()));
        NativeHeap.trim();
        say("resident without Java heap: %.1f MiB before, %.1f after, %.1f once free memory was given back",
                mebi(first.resident()), mebi(last.resident()), mebi(Gauge.now(storm.done(), kept).resident()));
        long opened = last.descriptors() - first.descriptors();
        say("descriptors: %d before, %d after; kept on purpose %d", first.descriptors(), last.descriptors(),
                kept.descriptors());
        if (opened > kept.descriptors()) {
            say("  before: %s", kinds);
            say("  after:  %s", Gauge.kinds());
        }
        check(opened <= kept.descriptors(), "%d descriptors stay open, of which %d on purpose", opened,
                kept.descriptors());
        long now = Gauge.globalReferences();
        say("global references: %d before, %d after; kept on purpose %d", references, now, kept.references());
        check(now - references <= kept.references(), "%d global references stay, of which %d on purpose",
                now - references, kept.references());
        Gauge.Children children = Gauge.children();
        say("threads: %d before, %d after; children: %d living, %d zombies", first.threads(), last.threads(),
                children.living(), children.zombies());
        check(last.threads() <= first.threads(), "%d threads stay", last.threads() - first.threads());
        check(children.living() + children.zombies() == 0, "%d children and %d zombies stay", children.living(),
                children.zombies());
    }

    private void check(boolean holds, String failure, Object... values) {
        if (!holds) {
            failures.add(String.format(Locale.ROOT, failure, values));
        }
    }

    private static double mebi(long bytes) {
        return bytes / 1048576.0;
    }

    private void say(String text, Object... values) {
        out.println(String.format(Locale.ROOT, text, values));
    }
}
