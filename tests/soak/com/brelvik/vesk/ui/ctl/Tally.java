package com.brelvik.vesk.ui.ctl;

import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.atomic.AtomicLong;
import java.util.stream.Collectors;

/** What the calls of one entry point came to, in thirds of the whole. */
final class Tally {
    private final Map<String, AtomicLong> answers = new ConcurrentHashMap<>();
    private final Latencies[] thirds = {new Latencies(), new Latencies(), new Latencies()};
    private final AtomicLong slowest = new AtomicLong();

    void add(String answer, long nanoseconds, int third) {
        answers.computeIfAbsent(answer, key -> new AtomicLong()).incrementAndGet();
        thirds[third].add(nanoseconds);
        slowest.accumulateAndGet(nanoseconds, Math::max);
    }

    long calls() {
        return answers.values().stream().mapToLong(AtomicLong::get).sum();
    }

    Latencies third(int number) {
        return thirds[number];
    }

    /** Milliseconds that {@code part} of the calls did not exceed. */
    double milliseconds(double part) {
        Latencies sum = new Latencies();
        for (Latencies third : thirds) {
            sum.addAll(third);
        }
        return Math.min(sum.percentile(part), slowest.get()) / 1e6;
    }

    String answers() {
        return new TreeMap<>(answers).entrySet().stream()
                .map(entry -> entry.getKey() + ":" + entry.getValue()).collect(Collectors.joining(" "));
    }
}
