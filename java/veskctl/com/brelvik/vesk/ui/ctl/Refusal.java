package com.brelvik.vesk.ui.ctl;

/** Ends a command: what happened and what to do next, for the last two of the three lines of an error. */
final class Refusal extends RuntimeException {
    private static final long serialVersionUID = 1;

    private final Status status;
    private final String next;

    Refusal(Status status, String happened, String next) {
        super(happened);
        this.status = status;
        this.next = next;
    }

    Status status() {
        return status;
    }

    String next() {
        return next;
    }
}
