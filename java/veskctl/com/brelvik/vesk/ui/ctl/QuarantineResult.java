package com.brelvik.vesk.ui.ctl;

import java.util.Map;

/** How a job of the end-user quarantine ended: the code, and the text that belongs to it. */
final class QuarantineResult extends PeerCommand {
    QuarantineResult(PeerMethod method) {
        super(method);
    }

    @Override
    Status run(Map<String, String> texts, boolean json) {
        return print(method, asked(), json);
    }

    /** @param method that gives the code */
    static Status print(PeerMethod method, String asked, boolean json) {
        Answer answer = Answer.of(method);
        Object text = answer.method().equals(method) ? text(method) : "";
        if (json) {
            Map<String, Object> map = answer.toMap();
            map.put("text", text);
            Output.out().println(Json.of(map));
            return answer.status();
        }
        answer.tell(asked);
        if (!"".equals(text)) {
            Output.data(String.valueOf(text));
        }
        return answer.status();
    }

    static Object text(PeerMethod method) {
        return Bridge.call(method.sibling(method.method().getName() + "_s"), new Object[0]);
    }
}
