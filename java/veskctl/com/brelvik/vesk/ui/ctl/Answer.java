package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.ResultCode;
import java.lang.reflect.Array;
import java.util.ArrayList;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/** What a native method answered, and the lists that it filled. */
record Answer(PeerMethod method, Object value, List<List<?>> lists) {
    /** Calls the method and keeps the lists among its arguments. */
    static Answer of(PeerMethod method, Object[] values) {
        Object value = Bridge.call(method, values);
        List<List<?>> lists = new ArrayList<>();
        for (Object argument : values) {
            if (argument instanceof ArrayList<?> list) {
                lists.add(list);
            }
        }
        return new Answer(method, value, lists);
    }

    /** A result code with its name and meaning. */
    static String describe(int code) {
        ResultCode known = ResultCode.of(code);
        return known == null ? code + ", which is no result code" : code + " " + known + ", " + known.meaning();
    }

    Status status() {
        return value instanceof Integer code ? Status.of(ResultCode.of(code)) : Status.DONE;
    }

    /** Prints the answer to the question {@code asked}. */
    Status print(String asked, boolean json) {
        if (json) {
            Output.out().println(Json.of(toMap()));
        } else if (value instanceof Integer code && status() != Status.DONE) {
            ResultCode known = ResultCode.of(code);
            String next = known == null ? "read the log" : known.cures();
            Output.error(asked, describe(code), next + " [log: " + InstallRoot.open().log() + "]");
        } else if (value instanceof Integer code) {
            Output.talk(describe(code));
        } else {
            printValue();
        }
        if (!json) {
            lists.forEach(list -> list.forEach(element -> Output.data(String.valueOf(element))));
        }
        return status();
    }

    private void printValue() {
        elements().forEach(element -> Output.data(String.valueOf(element)));
    }

    private List<Object> elements() {
        List<Object> elements = new ArrayList<>();
        boolean array = value != null && value.getClass().isArray();
        for (int i = 0; array && i < Array.getLength(value); i++) {
            elements.add(Array.get(value, i));
        }
        return array ? elements : new ArrayList<>(Collections.singletonList(value));
    }

    private Map<String, Object> toMap() {
        Map<String, Object> map = new LinkedHashMap<>();
        map.put("call", method.name());
        if (value instanceof Integer code) {
            ResultCode known = ResultCode.of(code);
            map.put("code", code);
            map.put("name", known == null ? null : known.name());
            map.put("meaning", known == null ? null : known.meaning());
        } else {
            map.put("value", value != null && value.getClass().isArray() ? elements() : value);
        }
        if (method.fillsList()) {
            map.put("list", lists.stream().flatMap(List::stream).toList());
        }
        return map;
    }
}
