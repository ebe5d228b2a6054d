package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.ResultCode;
import com.brelvik.vesk.ui.modelobjects.jni.OwnCode;

/** What an integer means: the same for all methods, or something of its own in one. */
record Meaning(int code, String name, ResultCode.Kind kind, String text, String causes, String cures) {
    /** Null for a number that is no code of the method; a null method has none of its own. */
    static Meaning of(PeerMethod method, int code) {
        Meaning own = own(method, code);
        ResultCode shared = ResultCode.of(code);
        return own != null || shared == null ? own : of(shared);
    }

    /** The same, for codes that are the method's own. */
    static Meaning own(PeerMethod method, int code) {
        return method == null ? null : method.ownCodes().stream().filter(own -> own.code() == code).findFirst()
                .map(Meaning::of).orElse(null);
    }

    static Meaning of(OwnCode own) {
        return new Meaning(own.code(), own.name(), own.kind(), own.meaning(), "", own.cures());
    }

    static Meaning of(ResultCode known) {
        return new Meaning(known.code(), known.name(), known.kind(), known.meaning(), known.causes(), known.cures());
    }

    /** The code with its name and meaning. */
    static String describe(PeerMethod method, int code) {
        Meaning known = of(method, code);
        return known == null ? code + ", which is no result code" : known.toString();
    }

    Status status() {
        return switch (kind) {
            case DONE -> Status.DONE;
            case NO -> Status.NO;
            case REFUSED -> Status.REFUSED;
            case FAILED -> Status.FAILED;
        };
    }

    @Override
    public String toString() {
        return code + " " + name + ", " + text;
    }
}
