package com.brelvik.vesk.ui.ctl;

import java.util.Collection;
import java.util.Map;
import java.util.stream.Collectors;

/** Writes maps, lists, texts, numbers, booleans and nulls as JSON in one line. */
final class Json {
    private Json() {}

    static String of(Object value) {
        if (value == null || value instanceof Number || value instanceof Boolean) {
            return String.valueOf(value);
        }
        if (value instanceof Map<?, ?> map) {
            return map.entrySet().stream().map(e -> quote(e.getKey()) + ":" + of(e.getValue()))
                    .collect(Collectors.joining(",", "{", "}"));
        }
        if (value instanceof Collection<?> list) {
            return list.stream().map(Json::of).collect(Collectors.joining(",", "[", "]"));
        }
        return quote(value);
    }

    private static String quote(Object value) {
        String text = Output.shown(String.valueOf(value).replace("\\", "\\\\").replace("\"", "\\\""));
        return '"' + text + '"';
    }
}
