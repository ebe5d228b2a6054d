package com.brelvik.vesk.ui.ctl;

import java.util.Map;

/** Answers a session, which this process has to accept first: the library remembers whose it is for no other. */
final class SignOn extends PeerCommand {
    SignOn(PeerMethod method) {
        super(method);
    }

    @Override
    Status run(Map<String, String> texts, boolean json) {
        String session = texts.get("session");
        Answer check = Answer.of(method.sibling("isSessionFromCORSA"), session);
        return (check.status() == Status.DONE ? Answer.of(method, session) : check).print(asked(), json);
    }
}
