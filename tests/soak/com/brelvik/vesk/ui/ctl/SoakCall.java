package com.brelvik.vesk.ui.ctl;

import java.lang.reflect.InvocationTargetException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.function.Supplier;
import java.util.stream.Collectors;

/** A call of the soak: how often it is made, what it may answer, and what it keeps on purpose. */
final class SoakCall {
    private static final Map<Class<?>, Object> PEERS = new HashMap<>();
    private static final int MARK = 16;
    private static final int STEP = 16;

    private final PeerMethod method;
    private final int share;
    private final Object[] values;
    private final Object peer;
    private final Set<String> answers = new HashSet<>();
    private final Map<String, Set<String>> answersWithout = new HashMap<>();
    private final Map<Integer, Supplier<String>> fresh = new HashMap<>();
    private String shown;
    private long limit = 60_000_000_000L;
    private Kept always = Kept.NOTHING;
    private final Map<String, Kept> with = new HashMap<>();

    /**
     * @param share of about a million calls
     * @param arguments names and texts, in turn
     */
    SoakCall(PeerMethod method, int share, Map<String, String> arguments) {
        this.method = method;
        this.share = share;
        this.values = Values.of(method, arguments);
        this.peer = PEERS.computeIfAbsent(method.method().getDeclaringClass(), SoakCall::made);
    }

    /** What it may answer at any time: integers, booleans, and "text" or "empty" for a text. */
    SoakCall answers(Object... expected) {
        Arrays.stream(expected).map(String::valueOf).forEach(answers::add);
        return this;
    }

    /** What it may answer besides while the server is away. */
    SoakCall without(String server, Object... expected) {
        answersWithout.put(server, Arrays.stream(expected).map(String::valueOf).collect(Collectors.toSet()));
        return this;
    }

    /** What the lists hold, or the text is, whenever the answer is one that it may give at any time. */
    SoakCall shows(String text) {
        shown = text;
        return this;
    }

    /** A text that is another each time, in the place of the argument. */
    SoakCall fresh(int index, Supplier<String> text) {
        fresh.put(index, text);
        return this;
    }

    SoakCall within(int seconds) {
        limit = seconds * 1_000_000_000L;
        return this;
    }

    /** The VM's copies of all texts among the arguments are never given back. */
    SoakCall keepsTexts() {
        for (Object value : values) {
            if (value instanceof String text) { // ASCII
                int length = text.length() + 1;
                always = always.plus(new Kept(around(length), length, 0, 0));
            }
        }
        return this;
    }

    /** What it keeps besides, whatever it answers. */
    SoakCall keeps(Kept more) {
        always = always.plus(more);
        return this;
    }

    /** What it keeps besides when it answers this. */
    SoakCall keepsWith(Object answer, Kept more) {
        with.merge(String.valueOf(answer), more, Kept::plus);
        return this;
    }

    PeerMethod method() {
        return method;
    }

    int share() {
        return share;
    }

    long limit() {
        return limit;
    }

    Kept kept(String answer) {
        return always.plus(with.getOrDefault(answer, Kept.NOTHING));
    }

    /** An answer, and what it came with. */
    record Outcome(String answer, String shown) {}

    /** Arguments for one call. */
    Object[] arguments() {
        Object[] arguments = values.clone();
        for (int i = 0; i < arguments.length; i++) {
            if (fresh.containsKey(i)) {
                arguments[i] = fresh.get(i).get();
            } else if (arguments[i] instanceof ArrayList<?> list) {
                arguments[i] = new ArrayList<>(list);
            } else if (arguments[i] instanceof int[] numbers) {
                arguments[i] = numbers.clone();
            }
        }
        return arguments;
    }

    /** @throws InvocationTargetException what the method threw */
    Outcome call(Object[] arguments) throws InvocationTargetException {
        try {
            Object value = method.method().invoke(peer, arguments);
            return new Outcome(answer(value), value instanceof String text ? text : lists(arguments));
        } catch (IllegalAccessException e) {
            throw new IllegalStateException(e);
        }
    }

    /** Why the outcome is none that it may have; null when it is one. */
    String complaint(Outcome outcome, Steward steward, long from, long to) {
        if (to - from > limit) {
            return "took " + (to - from) / 1_000_000 + " ms";
        }
        if (answers.contains(outcome.answer)) {
            return shown == null || shown.equals(outcome.shown) ? null
                    : "answered " + outcome.answer + " with '" + Output.cut(outcome.shown, 200) + "'";
        }
        boolean excused = answersWithout.entrySet().stream().anyMatch(entry ->
                entry.getValue().contains(outcome.answer) && steward.wasAway(entry.getKey(), from, to));
        return excused ? null : "answered " + outcome.answer;
    }

    private static String answer(Object value) {
        if (value instanceof String text) {
            return text.isEmpty() ? "empty" : "text";
        }
        return String.valueOf(value instanceof int[] numbers ? numbers[0] : value);
    }

    private String lists(Object[] arguments) {
        if (shown == null) {
            return "";
        }
        List<String> elements = new ArrayList<>();
        for (int i = 0; i < arguments.length; i++) {
            if (arguments[i] instanceof ArrayList<?> list && PeerMethod.isList(method.parameters().get(i))) {
                list.forEach(element -> elements.add(String.valueOf(element)));
            }
        }
        return String.join(" ", elements);
    }

    // What a block of the heap has beside its bytes and the mark of the VM's account: its size, and up to a full step.
    private static long around(int length) {
        int marked = length + MARK;
        return (marked + Long.BYTES + STEP - 1) / STEP * STEP - marked;
    }

    private static Object made(Class<?> type) {
        try {
            return type.getConstructor().newInstance();
        } catch (ReflectiveOperationException e) {
            throw new IllegalStateException(e);
        }
    }
}
