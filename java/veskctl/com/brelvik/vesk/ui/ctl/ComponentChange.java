package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.UpdateComponent;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.EnumSet;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.stream.Collectors;
import picocli.CommandLine.Model.PositionalParamSpec;

/** Updates chosen components or takes them back, and tells what became of each. */
final class ComponentChange extends PeerCommand {
    private static final List<String> WORDS = Arrays.stream(UpdateComponent.values()).map(Values::word).toList();

    private static final String NOTHING_BEFORE = "nothing to do: only an update leaves a version to go back to";

    private final boolean isUpdate;

    ComponentChange(PeerMethod method) {
        super(method);
        isUpdate = method.name().endsWith("manualUpdate");
        spec.addPositional(PositionalParamSpec.builder().index("0..*").arity("0..*").type(List.class)
                .auxiliaryTypes(String.class).paramLabel("COMPONENT").completionCandidates(WORDS)
                .description("Any of " + String.join(", ", WORDS)).build());
        addSwitch("--all", isUpdate ? "All that the source has" : "All that are installed");
    }

    @Override
    Status run(Map<String, String> texts, boolean json) {
        Set<UpdateComponent> chosen = named();
        PeerMethod versions = method.sibling("getCurrentVersion");
        Map<String, String> before = ComponentVersions.byName(ComponentVersions.ask(versions));
        if (chosen.isEmpty()) {
            Answer all = ComponentVersions.ask(isUpdate ? method.sibling("getAvailVersion") : versions);
            chosen = installed(ComponentVersions.byName(all));
            if (chosen.isEmpty()) {
                if (!isUpdate && all.status() == Status.DONE) {
                    throw new Refusal(Status.NO, "no component is installed", NOTHING_BEFORE);
                }
                return all.print(asked(), json);
            }
        }
        texts.put("COMPONENTS", UpdateComponent.selection(chosen));
        Answer answer = Answer.of(method, Values.of(method, texts));
        Map<String, String> after = ComponentVersions.byName(ComponentVersions.ask(versions));
        List<Map<String, Object>> rows = new ArrayList<>();
        for (UpdateComponent component : chosen) {
            rows.add(row(Values.word(component), before, after, answer, rows.size()));
        }
        String cure = isUpdate ? tellLeft(rows) : cure(rows);
        if (json) {
            Map<String, Object> map = answer.toMap();
            map.put("list", rows);
            Output.out().println(Json.of(map));
        } else {
            rows.forEach(ComponentChange::print);
            answer.tell(asked(), cure);
        }
        return answer.status();
    }

    // An update does not come back to what a rollback left.
    private String tellLeft(List<Map<String, Object>> rows) {
        Map<String, Path> files = new LinkedHashMap<>();
        for (Map<String, Object> row : rows) {
            Path file = InstallRoot.open().path().resolve("data/update/" + row.get("component") + "/left");
            if (row.get("outcome").equals("up to date") && Files.exists(file)) {
                files.put(String.valueOf(row.get("component")), file);
            }
        }
        if (files.isEmpty()) {
            return null;
        }
        Map<String, String> offers = ComponentVersions.byName(ComponentVersions.ask(method.sibling("getAvailVersion")));
        files.entrySet().removeIf(left -> !version(left.getValue()).equals(offers.get(left.getKey())));
        rows.stream().filter(row -> files.containsKey(row.get("component")))
                .forEach(row -> row.put("outcome", "left by a rollback"));
        return files.isEmpty() ? null : files.entrySet().stream()
                .map(left -> "to get " + offers.get(left.getKey()) + " again remove " + left.getValue())
                .collect(Collectors.joining("; "));
    }

    private static String version(Path file) {
        try {
            return Files.readString(file).strip();
        } catch (IOException e) {
            return "";
        }
    }

    // The log has no line of a component that has no version to go back to.
    private static String cure(List<Map<String, Object>> rows) {
        return rows.stream().allMatch(row -> row.get("outcome").equals("no version before"))
                ? NOTHING_BEFORE : null;
    }

    private Map<String, Object> row(String name, Map<String, String> before, Map<String, String> after, Answer answer,
            int index) {
        Map<String, Object> row = new LinkedHashMap<>();
        row.put("component", name);
        row.put("before", before.getOrDefault(name, ""));
        row.put("version", after.getOrDefault(name, ""));
        row.put("outcome", isUpdate ? outcome(row, answer) : word(answer, index));
        return row;
    }

    // Empty for all.
    private Set<UpdateComponent> named() {
        List<String> given = spec.positionalParameters().get(0).getValue();
        Set<UpdateComponent> chosen = EnumSet.noneOf(UpdateComponent.class);
        for (String word : given == null ? List.<String>of() : given) {
            chosen.add(Arrays.stream(UpdateComponent.values()).filter(known -> Values.word(known).equals(word))
                    .findFirst().orElseThrow(() -> new Refusal(Status.USAGE, "there is no component '" + word + "'",
                            "give any of " + String.join(", ", WORDS))));
        }
        boolean all = option("--all");
        if (all == !chosen.isEmpty()) {
            throw new Refusal(Status.USAGE, all ? "components beside --all" : "no component was named",
                    "name components, or give --all");
        }
        return chosen;
    }

    // Those that have a version, there or here.
    private static Set<UpdateComponent> installed(Map<String, String> versions) {
        return Arrays.stream(UpdateComponent.values())
                .filter(known -> !versions.getOrDefault(Values.word(known), "").isEmpty())
                .collect(Collectors.toCollection(() -> EnumSet.noneOf(UpdateComponent.class)));
    }

    // The library tells only of all together; what failed is in the log, unless that is off.
    private static String outcome(Map<String, Object> row, Answer answer) {
        boolean failed = answer.failures().stream()
                .anyMatch(line -> line.startsWith("update: " + row.get("component") + " download: "));
        boolean isSilent = answer.status() == Status.FAILED && answer.failures().isEmpty();
        return failed ? "failed" : !row.get("before").equals(row.get("version")) ? "updated"
                : isSilent ? "failed or up to date" : "up to date";
    }

    private static String word(Answer answer, int index) {
        List<?> words = answer.lists().get(0);
        return index >= words.size() ? "failed" : switch (String.valueOf(words.get(index))) {
            case "SUCCESS" -> "taken back";
            case "ROLLBACK_UNAVAILABLE" -> "no version before";
            default -> "failed";
        };
    }

    private static void print(Map<String, Object> row) {
        String version = row.values().stream().skip(1).limit(2).map(text -> text.equals("") ? "none" : (String) text)
                .distinct().collect(Collectors.joining(" -> "));
        Output.data(String.format("%-20s%-22s%s", row.get("component"), row.get("outcome"), version));
    }
}
