package com.brelvik.vesk.ui.modelobjects;

/** A name for an integer that crosses to the native library. */
public interface Coded {
    /** @return the integer as the native library knows it */
    int code();
}
