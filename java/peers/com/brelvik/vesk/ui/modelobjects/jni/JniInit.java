package com.brelvik.vesk.ui.modelobjects.jni;

/** Start-up of the native library; to be called once, before any other native method. */
public final class JniInit {
    static {
        NativeLibrary.load();
    }

    public native int initializeJNI();
}
