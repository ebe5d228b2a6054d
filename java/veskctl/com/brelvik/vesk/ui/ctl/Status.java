package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.ResultCode;

/** The exit statuses of veskctl. */
enum Status {
    DONE,
    /** The question was answered, with no. */
    NO,
    USAGE,
    /** Input that is not fit to be passed on: arguments, passwords, the install root. */
    REFUSED,
    /** A server, a tool or the VM failed. */
    FAILED,
    NOT_LOADABLE;

    int number() {
        return ordinal();
    }

    static Status of(ResultCode code) {
        if (code == null) {
            return FAILED;
        }
        return switch (code.kind()) {
            case DONE -> DONE;
            case NO -> NO;
            case REFUSED -> REFUSED;
            case FAILED -> FAILED;
        };
    }
}
