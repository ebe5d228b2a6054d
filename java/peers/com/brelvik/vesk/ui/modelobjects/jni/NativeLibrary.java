package com.brelvik.vesk.ui.modelobjects.jni;

/** Loads the native library once for all peer classes. */
final class NativeLibrary {
    private NativeLibrary() {}

    static void load() {
        String path = System.getProperty("vesk.jni.library");
        if (path != null) {
            System.load(path);
        } else {
            System.loadLibrary("veskjni");
        }
    }
}
