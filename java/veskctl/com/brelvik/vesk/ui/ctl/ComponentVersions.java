package com.brelvik.vesk.ui.ctl;

import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/** The versions in use, and beside them those of the update source. */
final class ComponentVersions extends PeerCommand {
    ComponentVersions(PeerMethod method) {
        super(method);
        addSwitch("--in-use", "Do not ask the source");
    }

    @Override
    Status run(Map<String, String> texts, boolean json) {
        Answer inUse = ask(method);
        if (inUse.status() != Status.DONE || this.<Boolean>option("--in-use")) {
            return inUse.print(asked(), json);
        }
        Answer offered = ask(method.sibling("getAvailVersion"));
        Map<String, String> offers = byName(offered);
        List<Map<String, Object>> rows = new ArrayList<>();
        byName(inUse).forEach((name, version) -> {
            Map<String, Object> row = new LinkedHashMap<>();
            row.put("component", name);
            row.put("version", version);
            row.put("available", offers.getOrDefault(name, ""));
            rows.add(row);
        });
        if (json) {
            Map<String, Object> map = inUse.toMap();
            map.put("list", rows);
            map.put("source", offered.toMap());
            Output.out().println(Json.of(map));
        } else {
            print("COMPONENT", "IN USE", "AVAILABLE");
            rows.forEach(row -> print(row.values().stream().map(cell -> cell.equals("") ? "-" : cell).toArray()));
            offered.tell(asked());
        }
        return offered.status();
    }

    /** Versions by component, in the order of the answer; empty texts for what is not installed. */
    static Map<String, String> byName(Answer answer) {
        Map<String, String> versions = new LinkedHashMap<>();
        for (int i = 0; answer.lists().size() == 2 && i < answer.lists().get(1).size(); i++) {
            versions.put(String.valueOf(answer.lists().get(1).get(i)), String.valueOf(answer.lists().get(0).get(i)));
        }
        return versions;
    }

    static Answer ask(PeerMethod query) {
        return Answer.of(query, new ArrayList<String>(), new ArrayList<String>());
    }

    private static void print(Object... cells) {
        Output.data(String.format("%-20s%-20s%s", cells));
    }
}
