package com.brelvik.vesk.ui.ctl;

import java.util.Map;

/** Goes through a proxy when one is named. */
final class ReputationCheck extends PeerCommand {
    ReputationCheck(PeerMethod method) {
        super(method);
    }

    @Override
    Status run(Map<String, String> texts, boolean json) {
        if (texts.get("proxy").isEmpty() && !texts.get("proxy-user").isEmpty()) {
            throw new Refusal(Status.USAGE, "--proxy-user without --proxy", "name the proxy");
        }
        texts.put("use-proxy", texts.get("proxy").isEmpty() ? "0" : "1");
        return super.run(texts, json);
    }
}
