package com.brelvik.vesk.ui.ctl;

import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** The steps of a set-up that was tried, up to the first that failed; printed as they come, or as JSON at the end. */
final class Steps {
    private static final String INDENT = " ".repeat(9);

    private final boolean json;
    private final List<Map<String, Object>> all = new ArrayList<>();
    private String failed;
    private Status status = Status.DONE;

    Steps(boolean json) {
        this.json = json;
    }

    /** A failure that the library logged: {@code directory: connect failed at PEER after 3 ms: WHY; hint: CURE}. */
    record Logged(String step, String why, String hint, Long ms) {
        private static final Pattern LINE = Pattern.compile("(?:directory: )?(.*?)(?:; hint: (.*))?");
        private static final Pattern STEP = Pattern.compile("(\\w+) (?:failed at|refused by|timed out at) .*");
        private static final Pattern MS = Pattern.compile(".* after (\\d+) ms: .*");

        static Logged of(String line) {
            Matcher parts = LINE.matcher(line);
            if (!parts.matches()) {
                return new Logged("", line, null, null);
            }
            Matcher step = STEP.matcher(parts.group(1));
            Matcher ms = MS.matcher(parts.group(1));
            return new Logged(step.matches() ? step.group(1) : "", parts.group(1), parts.group(2),
                    ms.matches() ? Long.valueOf(ms.group(1)) : null);
        }
    }

    Status status() {
        return status;
    }

    /** @param ms null for a step whose time is part of another's */
    boolean passed(String step, String asked, Long ms) {
        add(step, true, asked, ms, List.of(), null);
        return true;
    }

    /** Something to look at that does not stop the set-up. */
    boolean doubtful(String step, String asked, String why, String next) {
        add(step, true, asked, null, List.of(why), next);
        return true;
    }

    /** @return false, so that the next step is not taken */
    boolean failed(Status how, String step, String asked, Long ms, List<String> why, String next) {
        status = how;
        failed = step;
        add(step, false, asked, ms, why, next);
        return false;
    }

    void printJson() {
        Map<String, Object> map = new LinkedHashMap<>();
        map.put("ok", failed == null);
        map.put("failed", failed);
        map.put("steps", all);
        Output.out().println(Json.of(map));
    }

    private void add(String step, boolean ok, String asked, Long ms, List<String> why, String next) {
        Map<String, Object> map = new LinkedHashMap<>();
        map.put("step", step);
        map.put("ok", ok);
        map.put("asked", asked);
        map.put("ms", ms);
        map.put("why", why);
        map.put("next", next);
        all.add(map);
        if (!json) {
            String verdict = !ok ? "FAILED" : why.isEmpty() ? "ok" : "warning";
            Output.data(String.format("%-8s %-9s %s%s", verdict, step, asked, ms == null ? "" : " [" + ms + " ms]"));
            why.forEach(line -> Output.data(INDENT + "why: " + line));
            if (next != null) {
                Output.data(INDENT + "do:  " + next);
            }
        }
    }
}
