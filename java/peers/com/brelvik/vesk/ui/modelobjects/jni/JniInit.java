package com.brelvik.vesk.ui.modelobjects.jni;

/** Start-up of the native library. */
public final class JniInit {
    static {
        NativeLibrary.load();
    }

    /**
     * Loads {@code config/vesk.ini} below the folder that the environment variable {@code VESK_HOME} names, opens the
     * log at the level set there, starts the update engine and prepares the lists that the other methods fill. To be
     * called once, on one thread, before any other native method; a second call does the same again but for the update
     * engine.
     *
     * <p>When the settings cannot be loaded (no {@code VESK_HOME}, file missing, unreadable or with a syntax error) the
     * method prints a complaint and ends the whole VM, with exit status 0.
     *
     * @return 0 done; 508 no global reference to {@code ArrayList}, 510 class or 511 method not found
     */
    public native int initializeJNI();
}
