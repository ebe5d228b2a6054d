package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.jni.Fills;
import java.lang.reflect.Parameter;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/** The lists that a method filled, as it says what they hold: lines, texts with a heading each, or columns. */
record Listing(PeerMethod method, List<List<?>> lists) {
    private static final int WIDTH = 20;

    void print() {
        List<String> names = names();
        if (isTable(names)) {
            toList().forEach(row -> Output.data(((Map<?, ?>) row).values().stream()
                    .map(cell -> String.format("%-" + WIDTH + "s", cell)).reduce("", String::concat).stripTrailing()));
            return;
        }
        for (List<?> list : lists) {
            for (int i = 0; i < list.size(); i++) {
                print(names.size() == list.size() && names.size() > 1 ? names.get(i) : null, list.get(i));
            }
        }
    }

    /** The elements, or of columns the rows. */
    List<Object> toList() {
        List<String> names = names();
        List<Object> elements = new ArrayList<>();
        if (!isTable(names)) {
            lists.forEach(elements::addAll);
            return elements;
        }
        for (int row = 0; row < lists.get(0).size(); row++) {
            Map<String, Object> cells = new LinkedHashMap<>();
            for (int column = lists.size() - 1; column >= 0; column--) {  // the names are in the last list
                cells.put(names.get(column), lists.get(column).get(row));
            }
            elements.add(cells);
        }
        return elements;
    }

    private static void print(String name, Object element) {
        if (name == null) {
            Output.data(String.valueOf(element));
            return;
        }
        Output.data("[" + name + "]");
        Output.text(String.valueOf(element));
    }

    // Each list has one name.
    private boolean isTable(List<String> names) {
        long named = method.parameters().stream().filter(parameter -> parameter.isAnnotationPresent(Fills.class))
                .count();
        return named > 1 && names.size() == lists.size()
                && lists.stream().allMatch(list -> list.size() == lists.get(0).size());
    }

    private List<String> names() {
        List<String> names = new ArrayList<>();
        for (Parameter parameter : method.parameters()) {
            Fills fills = parameter.getAnnotation(Fills.class);
            names.addAll(fills == null ? List.of() : List.of(fills.value()));
        }
        return names;
    }
}
