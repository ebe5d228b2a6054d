package com.brelvik.vesk.ui.ctl;

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
}
