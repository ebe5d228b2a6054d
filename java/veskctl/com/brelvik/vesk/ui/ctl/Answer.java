package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.ResultCode;
import com.brelvik.vesk.ui.modelobjects.jni.ConsoleCommand;
import java.lang.reflect.Array;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.regex.Pattern;

/**
 * What a native method answered.
 *
 * @param lists those that it filled
 * @param failures what it logged as failures
 * @param isUnseen whether it should have queued a mail and none is to be seen
 */
record Answer(PeerMethod method, Object value, List<List<?>> lists, List<String> failures, boolean isUnseen) {
    /**
     * Calls the method and keeps what it filled. The answer is that of another method where that one had to come first
     * and failed.
     */
    static Answer of(PeerMethod method, Object... values) {
        PeerMethod opener = method.opener();
        Answer opened = opener == null ? null : of(opener);
        if (opened != null && opened.status() != Status.DONE) {
            return opened;
        }
        InstallRoot root = InstallRoot.open();
        LogTail log = new LogTail(root, method.command());
        MailQueue queue = new MailQueue(root, method.command());
        Object value = Bridge.call(method, values);
        List<List<?>> lists = new ArrayList<>();
        for (int i = 0; i < values.length; i++) {
            if (values[i] instanceof int[] numbers) {
                lists.add(Arrays.stream(numbers).boxed().toList());
            } else if (values[i] instanceof ArrayList<?> list && PeerMethod.isList(method.parameters().get(i))) {
                lists.add(list);
            }
        }
        return new Answer(method, value, lists, log.failures(), queue.isMissing());
    }

    /** Null when the method answers with something else. A boolean is a code where the method explains it as one. */
    Integer code() {
        if (value instanceof Boolean yes && Meaning.own(method, yes ? 1 : 0) != null) {
            return yes ? 1 : 0;
        }
        if (value instanceof int[] numbers && method.form() == ConsoleCommand.Form.WITH_ERROR) {
            return numbers[0];
        }
        return value instanceof Integer code && method.form() != ConsoleCommand.Form.NUMBER ? code : null;
    }

    Status status() {
        if (code() == null) {
            return "".equals(value) && !note().isEmpty() ? Status.NO : Status.DONE;
        }
        Meaning known = Meaning.of(method, code());
        return known == null || isDenied() ? Status.FAILED : known.status();
    }

    private boolean isDenied() {
        Meaning known = Meaning.of(method, code());
        return known != null && known.status() == Status.DONE && denial() != null;
    }

    // What speaks against a success, or null: these methods answer it all the same.
    private String denial() {
        ConsoleCommand command = method.command();
        if (command == null) {
            return null;
        }
        boolean isEmpty = method.fillsList()
                && lists.stream().flatMap(List::stream).allMatch(element -> "".equals(element));
        if (isEmpty && !command.empty().isEmpty()) {
            return command.empty();
        }
        boolean isLogged = !command.denial().isEmpty();
        if (isLogged && failures.stream().anyMatch(Pattern.compile(command.denial()).asPredicate())) {
            return "the log says that it failed";
        }
        if (isLogged && command.queues().isEmpty() && InstallRoot.open().logLevel().equals("NOLOG")) {
            return "only the log could tell whether it went well, and its level is NOLOG";
        }
        return isUnseen ? "no new " + command.queues() + " is to be seen in " + InstallRoot.open().queue()
                + ", and the log cannot tell whether the mail was queued" : null;
    }

    /** Prints the answer to the question {@code asked}. */
    Status print(String asked, boolean json) {
        if (json) {
            Output.out().println(Json.of(toMap()));
        } else {
            tell(asked);
            new Listing(method, lists).print();
        }
        return status();
    }

    /** Says what the code means, and prints an answer that is none. */
    void tell(String asked) {
        tell(asked, null);
    }

    /** @param cure what to do next, where that is known better than the log tells it; else null */
    void tell(String asked, String cure) {
        if (code() == null && status() == Status.NO) {
            Output.talk("no" + note());
            Output.log(failures);
        } else if (code() == null) {
            elements().forEach(element -> Output.data(shown(element)));
            Output.log(failures);
        } else if (status() == Status.DONE) {
            Output.talk(Meaning.describe(method, code()) + error() + note());
            Output.log(failures);
            if (cure != null) {
                Output.talk("next:     " + cure);
            }
        } else {
            Meaning known = Meaning.of(method, code());
            String more = isDenied() ? ", but " + denial()
                    : isUnlogged() ? ": " + method.command().unlogged() + ", as the log has no reason" : "";
            Output.error(asked, Meaning.describe(method, code()) + error() + more, failures,
                    cure != null ? cure : next(known) + " [log: " + InstallRoot.open().log() + "]");
        }
    }

    // The second of two numbers; an HTTP status never is as small as the library's numbers are.
    private String error() {
        int error = value instanceof int[] numbers && code() != null ? numbers[1] : 0;
        return error == 0 ? "" : (error < 100 ? " (network library error " : " (HTTP status ") + error + ")";
    }

    private boolean isUnlogged() {
        return method.command() != null && !method.command().unlogged().isEmpty() && failures.isEmpty()
                && code() == ResultCode.AGENT_FAILED.code() && !InstallRoot.open().logLevel().equals("NOLOG");
    }

    private String next(Meaning known) {
        if (isUnlogged()) {
            return "look at the agent, or at what else listens there";
        }
        if (isDenied() && failures.stream().anyMatch(line -> line.contains("; hint: "))) {
            return "do what the log says";
        }
        String cure = isDenied() ? method.command().cure() : known == null ? "" : known.cures();
        boolean isSilent = failures.isEmpty() && (cure.isEmpty() || denial() != null && denial().contains("NOLOG"));
        if (isSilent) {
            return "let the log tell: set ui in section log_level of vesk.ini to NORMAL, see that its disk has room, "
                    + "and try again";
        }
        return cure.isEmpty() ? "do what the log says" : cure;
    }

    // What a success means here, in the method's own words.
    private String note() {
        boolean isEmptyText = "".equals(value);
        String note = method.command() == null ? ""
                : isEmptyText ? method.command().empty() : method.command().done();
        return !note.isEmpty() ? ": " + note : failures.isEmpty() ? "" : ", but not all went well";
    }

    private static String shown(Object element) {
        return element instanceof Boolean yes ? yes ? "yes" : "no" : String.valueOf(element);
    }

    private List<Object> elements() {
        List<Object> elements = new ArrayList<>();
        boolean array = value != null && value.getClass().isArray();
        for (int i = 0; array && i < Array.getLength(value); i++) {
            elements.add(Array.get(value, i));
        }
        return array ? elements : new ArrayList<>(Collections.singletonList(value));
    }

    /** What JSON tells of it. */
    Map<String, Object> toMap() {
        Map<String, Object> map = new LinkedHashMap<>();
        map.put("call", method.name());
        if (code() != null && !(value instanceof Boolean)) {
            map.put("code", code());
        } else {
            map.put("value", value != null && value.getClass().isArray() ? elements() : value);
        }
        if (code() != null) {
            if (method.answersStatus()) {
                map.put("exit", Meaning.exit(method, code()));
            }
            Meaning known = Meaning.of(method, code());
            map.put("name", known == null ? null : known.name());
            map.put("meaning", known == null ? null : known.text());
            if (value instanceof int[] numbers) {
                map.put("error", numbers[1]);
            }
            if (isDenied()) {
                map.put("failed", denial());
            }
        }
        if (method.fillsList()) {
            map.put("list", new Listing(method, lists).toList());
        }
        if (!failures.isEmpty()) {
            map.put("log", failures);
        }
        return map;
    }
}
