package com.brelvik.vesk.ui.ctl;

import java.lang.reflect.InvocationTargetException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Queue;
import java.util.SplittableRandom;
import java.util.TreeMap;
import java.util.concurrent.ConcurrentLinkedQueue;
import java.util.concurrent.atomic.AtomicLong;
import java.util.concurrent.atomic.AtomicReferenceArray;
import java.util.concurrent.atomic.LongAdder;
import java.util.stream.IntStream;

/** Many threads that call at once, each call drawn by its share. */
final class Storm {
    private static final int MOST_COMPLAINTS = 200;

    /** What a thread is at. */
    private record Current(SoakCall call, long from) {}

    private final List<SoakCall> calls;
    private final long[] upTo; // sums of shares
    private final Steward steward;
    private final long wanted;
    private final long began = System.nanoTime();
    private final long span;
    private final Map<String, Tally> tallies = new TreeMap<>();
    private final Queue<String> complaints = new ConcurrentLinkedQueue<>();
    private final LongAdder complained = new LongAdder();
    private final AtomicLong next = new AtomicLong();
    private final LongAdder done = new LongAdder();
    private final Kept.Sum kept = new Kept.Sum();
    private final List<Thread> threads = new ArrayList<>();
    private final AtomicReferenceArray<Current> current;

    /**
     * @param wanted calls after which it ends
     * @param span nanoseconds after which it ends
     */
    Storm(List<SoakCall> calls, Steward steward, int threads, long wanted, long span) {
        this.calls = calls;
        this.steward = steward;
        this.wanted = wanted;
        this.span = span;
        current = new AtomicReferenceArray<>(threads);
        upTo = new long[calls.size()];
        long sum = 0;
        for (int i = 0; i < upTo.length; i++) {
            sum += calls.get(i).share();
            upTo[i] = sum;
            tallies.computeIfAbsent(calls.get(i).method().name(), name -> new Tally());
        }
    }

    void start(long seed) {
        for (int i = 0; i < current.length(); i++) {
            int number = i;
            Thread thread = new Thread(() -> work(number, new SplittableRandom(seed + number)), "caller-" + i);
            thread.setDaemon(true); // one that hangs does not keep the VM
            threads.add(thread);
            thread.start();
        }
    }

    /** Whether it goes on: no call hangs, and neither the time nor the calls are used up. */
    boolean goesOn() {
        return !isOver() && hanging().isEmpty();
    }

    /** Waits for the calls that are under way. */
    void await() throws InterruptedException {
        for (Thread thread : threads) {
            while (thread.isAlive() && hanging().isEmpty()) {
                thread.join(100);
            }
        }
        hanging().forEach(this::complain);
    }

    long done() {
        return done.sum();
    }

    Kept kept() {
        return kept.now();
    }

    Map<String, Tally> tallies() {
        return tallies;
    }

    long complained() {
        return complained.sum();
    }

    /** The first of them. */
    List<String> complaints() {
        return List.copyOf(complaints);
    }

    private boolean isOver() {
        return next.get() >= wanted || System.nanoTime() - began >= span;
    }

    private void work(int number, SplittableRandom random) {
        for (long turn = next.getAndIncrement(); turn < wanted && System.nanoTime() - began < span;
                turn = next.getAndIncrement()) {
            // Each of them once, however short the storm is.
            SoakCall call = turn < calls.size() ? calls.get((int) turn) : drawn(random);
            make(number, call);
        }
    }

    private SoakCall drawn(SplittableRandom random) {
        int found = Arrays.binarySearch(upTo, random.nextLong(upTo[upTo.length - 1]));
        return calls.get(found < 0 ? -found - 1 : found + 1);
    }

    private void make(int number, SoakCall call) {
        Object[] arguments = call.arguments();
        long from = System.nanoTime();
        current.set(number, new Current(call, from));
        String answer;
        String complaint;
        try {
            SoakCall.Outcome outcome = call.call(arguments);
            answer = outcome.answer();
            complaint = call.complaint(outcome, steward, from, System.nanoTime());
        } catch (InvocationTargetException e) {
            answer = String.valueOf(e.getCause());
            complaint = "threw " + answer;
        }
        long to = System.nanoTime();
        current.set(number, null);
        kept.add(call.kept(answer));
        tallies.get(call.method().name()).add(answer, to - from, third(to));
        if (complaint != null) {
            complain(call.method().name() + " " + complaint);
        }
        done.increment();
    }

    // Of the calls or of the time, whatever ends it first.
    private int third(long now) {
        double part = Math.max((double) done.sum() / wanted, (double) (now - began) / span);
        return Math.min((int) (3 * part), 2);
    }

    private void complain(String complaint) {
        complained.increment();
        if (complained.sum() <= MOST_COMPLAINTS) {
            complaints.add(complaint);
        }
    }

    private List<String> hanging() {
        long now = System.nanoTime();
        return IntStream.range(0, current.length()).mapToObj(current::get)
                .filter(at -> at != null && now - at.from > 2 * at.call.limit())
                .map(at -> at.call.method().name() + " hangs").toList();
    }
}
