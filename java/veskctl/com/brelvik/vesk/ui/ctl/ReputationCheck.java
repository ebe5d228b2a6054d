package com.brelvik.vesk.ui.ctl;

import java.util.Map;

/** Goes through a proxy when one is named. */
final class ReputationCheck extends PeerCommand {
    ReputationCheck(PeerMethod method) {
        super(method);
    }

    @Override
    void checkOptions() {
        boolean user = !this.<String>option("--proxy-user").isEmpty();
        if (!hasProxy() && (user || hasPort())) {
            throw new Refusal(Status.USAGE, (user ? "--proxy-user" : "--proxy-port") + " needs --proxy",
                    "name the proxy");
        }
    }

    @Override
    String asked() {
        String all = super.asked();
        return hasProxy() || hasPort() ? all : all.replace(" --proxy-port=" + option("--proxy-port"), "");
    }

    @Override
    Status run(Map<String, String> texts, boolean json) {
        texts.put("use-proxy", texts.get("proxy").isEmpty() ? "0" : "1");
        return super.run(texts, json);
    }

    private boolean hasProxy() {
        return !this.<String>option("--proxy").isEmpty();
    }

    private boolean hasPort() {
        return spec.commandLine().getParseResult().hasMatchedOption("--proxy-port");
    }
}
