package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.jni.MTAlogJNI;
import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * Pages through the mail log of a scanner: on a terminal as far as the reader wants, else to the end. The block that
 * the agent needs for the next page stays here.
 */
final class MailLog extends PeerCommand {
    private static final int LARGEST_PAGE = 10_000;

    private final int[] block = new int[MTAlogJNI.PAGING_LENGTH];
    private String file = "";

    MailLog(PeerMethod method) {
        super(method);
        addText("--since", "TIME", Times.HELP + ": only later lines");
        addText("--until", "TIME", "The same: only earlier lines");
        addText("--page-size", "N", "Lines on a page, up to " + LARGEST_PAGE + "; 20 without it");
        addText("--pages", "N", "Stop after so many pages");
        addSwitch("--oldest-first", "Begin with the oldest lines, not the newest");
        addSwitch("--all", "Go on to the end without asking");
    }

    @Override
    Status run(Map<String, String> texts, boolean json) {
        block[MTAlogJNI.PAGE_SIZE] = number("--page-size", 20, LARGEST_PAGE);
        block[MTAlogJNI.START_TIME] = Times.seconds("--since", option("--since"));
        block[MTAlogJNI.END_TIME] = Times.seconds("--until", option("--until"));
        int last = number("--pages", Integer.MAX_VALUE, Integer.MAX_VALUE);
        boolean asks = Terminal.isThere() && !json && !this.<Boolean>option("--all") && option("--pages") == null;
        if (block[MTAlogJNI.END_TIME] != 0 && block[MTAlogJNI.END_TIME] < block[MTAlogJNI.START_TIME]) {
            throw new Refusal(Status.REFUSED, "--until lies before --since", "turn them round");
        }
        int shown = 0;
        for (int number = 1;; number++) {
            block[MTAlogJNI.PAGE_NUMBER] = number;
            Answer page = fetch(texts);
            List<String> lines = lines(page);
            if (lines == null) {
                return failed(page, json);
            }
            print(page, lines, number, json);
            shown += lines.size();
            int pages = Math.max(block[MTAlogJNI.PAGE_COUNT], number);
            // A page may have fewer lines than it has room for: only the lines tell the end.
            boolean isEnd = lines.isEmpty() || shown >= block[MTAlogJNI.TOTAL_COUNT] || number >= last;
            if (!json && (isEnd || asks)) {
                Output.talk("page " + number + " of " + pages + ", " + block[MTAlogJNI.TOTAL_COUNT] + " lines in all"
                        + (isEnd ? "" : "; Enter shows the next page, q ends"));
            }
            if (isEnd || asks && !wantsMore()) {
                return Status.DONE;
            }
        }
    }

    private Answer fetch(Map<String, String> texts) {
        boolean oldestFirst = option("--oldest-first");
        return Answer.of(method, texts.get("agent"), texts.get("keyword"), oldestFirst ? 1 : 0, block, file,
                new ArrayList<String>());
    }

    // Null when the agent failed: a page without lines is one only if the log does not speak against it.
    private List<String> lines(Answer page) {
        List<?> answered = page.lists().get(page.lists().size() - 1);
        boolean isThere = page.code() == 0 && answered.size() == 2;
        if (!isThere || answered.get(1).equals("") && page.status() != Status.DONE) {
            return null;
        }
        file = String.valueOf(answered.get(0));
        return String.valueOf(answered.get(1)).lines().toList();
    }

    private Status failed(Answer page, boolean json) {
        if (json) {
            Output.out().println(Json.of(page.toMap()));
        } else {
            page.tell(asked());
        }
        return Status.FAILED;
    }

    private void print(Answer page, List<String> lines, int number, boolean json) {
        if (!json) {
            lines.forEach(Output::text);
            return;
        }
        Map<String, Object> map = new LinkedHashMap<>();
        map.put("call", method.name());
        map.put("code", page.code());
        map.put("page", number);
        map.put("pages", block[MTAlogJNI.PAGE_COUNT]);
        map.put("total", block[MTAlogJNI.TOTAL_COUNT]);
        map.put("file", file);
        map.put("block", Arrays.stream(block).boxed().toList());
        map.put("list", lines);
        Output.out().println(Json.of(map));
    }

    private int number(String name, int fallback, int most) {
        String text = option(name);
        try {
            int value = text == null ? fallback : Integer.parseInt(text);
            if (value >= 1 && value <= most) {
                return value;
            }
        } catch (NumberFormatException e) {
            throw new Refusal(Status.USAGE, name + ": '" + text + "' is no whole number", "give a whole number");
        }
        throw new Refusal(Status.REFUSED, name + ": " + text + " is out of range", "give a number from 1 to " + most);
    }

    private static boolean wantsMore() {
        try {
            int first = System.in.read();
            for (int c = first; c != '\n' && c >= 0; c = System.in.read()) {
                // The rest of the line.
            }
            return first == '\n';
        } catch (IOException e) {
            return false;
        }
    }
}
