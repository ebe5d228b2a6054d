package com.brelvik.vesk.ui.ctl;

/** The C library's heap of this process. */
final class NativeHeap {
    static {
        System.load(System.getProperty("vesk.soak.heap"));
    }

    private NativeHeap() {}

    /** Bytes that were asked for and not given back. */
    static native long inUse();

    /** Gives what is free back to the system. */
    static native void trim();
}
