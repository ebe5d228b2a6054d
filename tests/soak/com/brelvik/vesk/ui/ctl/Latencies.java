package com.brelvik.vesk.ui.ctl;

import java.util.concurrent.atomic.AtomicLongArray;

/** A histogram of times: eight buckets for each doubling, so that a percentile is right within a ninth. */
final class Latencies {
    private static final int PER_DOUBLING = 8;
    private static final int BITS = 3;

    private final AtomicLongArray buckets = new AtomicLongArray(64 * PER_DOUBLING);

    void add(long nanoseconds) {
        buckets.incrementAndGet(bucket(nanoseconds));
    }

    void addAll(Latencies other) {
        for (int i = 0; i < buckets.length(); i++) {
            buckets.addAndGet(i, other.buckets.get(i));
        }
    }

    long count() {
        long sum = 0;
        for (int i = 0; i < buckets.length(); i++) {
            sum += buckets.get(i);
        }
        return sum;
    }

    /** Nanoseconds that {@code part} of all times do not exceed: the upper end of a bucket; 0 without any. */
    long percentile(double part) {
        long wanted = (long) Math.ceil(part * count());
        long seen = 0;
        for (int i = 0; i < buckets.length() && wanted > 0; i++) {
            seen += buckets.get(i);
            if (seen >= wanted) {
                return upperEnd(i);
            }
        }
        return 0;
    }

    private static int bucket(long value) {
        if (value < PER_DOUBLING) {
            return (int) Math.max(value, 0);
        }
        int doubling = 63 - Long.numberOfLeadingZeros(value) - BITS;
        return (doubling + 1) * PER_DOUBLING + (int) (value >> doubling & PER_DOUBLING - 1);
    }

    private static long upperEnd(int bucket) {
        int doubling = bucket / PER_DOUBLING - 1;
        return doubling < 0 ? bucket : ((long) (PER_DOUBLING + bucket % PER_DOUBLING) + 1 << doubling) - 1;
    }
}
