package com.brelvik.vesk.ui.modelobjects.jni;

/**
 * Maintenance of the database.
 */
public final class DbMaintainJNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Kept for old consoles: the console keeps its schedule itself.
     *
     * @return 0
     */
    public native int SaveSched();
}
