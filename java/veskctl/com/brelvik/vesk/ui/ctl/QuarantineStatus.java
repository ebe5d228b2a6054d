package com.brelvik.vesk.ui.ctl;

import java.util.LinkedHashMap;
import java.util.Map;

/** Switches and jobs of the end-user quarantine at a glance. */
final class QuarantineStatus extends PeerCommand {
    QuarantineStatus(PeerMethod method) {
        super(method);
    }

    @Override
    Status run(Map<String, String> texts, boolean json) {
        Answer enabled = Answer.of(method);
        if (!enabled.method().equals(method)) {
            return enabled.print(asked(), json);
        }
        Map<String, Object> all = enabled.toMap();
        all.put("upkeep", ask("isDlMaintainEnable"));
        all.put("transfer", job("isTransferringEuqData", "getTransferEuqResult"));
        all.put("removal", job("isRemovingEuqData", "getRemoveEuqResult"));
        if (json) {
            Output.out().println(Json.of(all));
            return Status.DONE;
        }
        row("quarantine", enabled.value().equals(true) ? "on" : "off");
        row("upkeep of distribution lists", all.get("upkeep").equals(true) ? "on" : "off");
        row("transfer", shown("getTransferEuqResult", all.get("transfer")));
        row("removal", shown("getRemoveEuqResult", all.get("removal")));
        Output.log(enabled.failures());
        return Status.DONE;
    }

    private Map<String, Object> job(String runs, String result) {
        Map<String, Object> job = new LinkedHashMap<>();
        job.put("running", ask(runs));
        job.put("code", ask(result));
        job.put("text", QuarantineResult.text(method.sibling(result)));
        return job;
    }

    private String shown(String result, Object job) {
        Map<?, ?> facts = (Map<?, ?>) job;
        String text = String.valueOf(facts.get("text"));
        return facts.get("running").equals(true) ? "runs: " + QuarantineJob.progress(result.contains("Transfer"))
                : facts.get("code").equals(-1) ? "none yet"
                : Meaning.describe(method.sibling(result), (Integer) facts.get("code")) + ": " + text;
    }

    private Object ask(String other) {
        return Bridge.call(method.sibling(other), new Object[0]);
    }

    private static void row(String name, String state) {
        Output.data(String.format("%-30s%s", name, state));
    }
}
