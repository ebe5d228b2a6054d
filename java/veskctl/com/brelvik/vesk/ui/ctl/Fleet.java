package com.brelvik.vesk.ui.ctl;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** Tells many agents at once. The code says how many were not told, the log which and why. */
final class Fleet extends PeerCommand {
    private static final Pattern FAILED = Pattern.compile("agent: \\w+ failed at (\\S+) after (.*)");

    Fleet(PeerMethod method) {
        super(method);
    }

    @Override
    Status run(Map<String, String> texts, boolean json) {
        String given = texts.getOrDefault("ADDRESS", InstallRoot.open().setting("agent", "scanners"));
        Map<String, String> agents = new LinkedHashMap<>();
        Arrays.stream(given.split("[,\\s]+")).filter(agent -> !agent.isEmpty())
                .forEach(agent -> agents.putIfAbsent(Shapes.peer(agent), agent.replaceFirst("^http://", "")));
        Answer answer = Answer.of(method, Values.of(method, texts));
        int untold = answer.code() == null ? 0 : -answer.code();
        if (untold < 0) {
            return answer.print(asked(), json);
        }
        List<Map<String, Object>> outcomes = outcomes(agents, answer.failures(), untold);
        if (json) {
            outcomes.forEach(outcome -> outcome.computeIfPresent("why",
                    (key, why) -> why.toString().replaceFirst("^\\d+ ms: ", "")));
            Map<String, Object> map = answer.toMap();
            map.put("agents", outcomes);
            Output.out().println(Json.of(map));
            return answer.status();
        }
        outcomes.forEach(Fleet::print);
        if (untold == 0) {
            answer.tell(asked());
        } else {
            Output.error(asked(), untold + " of " + agents.size() + (untold == 1 ? " agents was" : " agents were")
                    + " not told", List.of(), Meaning.of(method, -untold).cures() + " [log: "
                    + InstallRoot.open().log() + "]");
        }
        return answer.status();
    }

    // Without a line in the log for each that was not told, nobody knows which the others are.
    private static List<Map<String, Object>> outcomes(Map<String, String> agents, List<String> failures, int untold) {
        Map<String, String> reasons = new HashMap<>();
        failures.stream().map(FAILED::matcher).filter(Matcher::matches)
                .forEach(line -> reasons.put(Shapes.peer(line.group(1)), line.group(2)));
        long known = agents.keySet().stream().filter(reasons::containsKey).count();
        List<Map<String, Object>> outcomes = new ArrayList<>();
        agents.forEach((peer, agent) -> {
            Map<String, Object> outcome = new LinkedHashMap<>();
            outcome.put("agent", agent);
            outcome.put("told", reasons.containsKey(peer) ? Boolean.FALSE : known == untold ? Boolean.TRUE : null);
            outcome.put("why", reasons.get(peer));
            outcomes.add(outcome);
        });
        return outcomes;
    }

    private static void print(Map<String, Object> outcome) {
        String verdict = outcome.get("told") == null ? "unknown: see the log"
                : outcome.get("why") == null ? "told" : "not told after " + outcome.get("why");
        Output.data(outcome.get("agent") + "  " + verdict);
    }
}
