package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.jni.JniInit;
import com.brelvik.vesk.ui.modelobjects.jni.NativeLibrary;
import java.lang.reflect.InvocationTargetException;

/** Calls native methods, in a library that is loaded and initialised once. */
final class Bridge {
    private static boolean ready;

    private Bridge() {}

    /**
     * Calls the method.
     *
     * @throws Refusal when the library cannot be loaded or initialised, or lacks the method
     */
    static Object call(PeerMethod method, Object[] values) {
        load();
        if (method.method().getDeclaringClass() != JniInit.class) {
            initialise();
        }
        try {
            return method.method().invoke(method.method().getDeclaringClass().getConstructor().newInstance(), values);
        } catch (InvocationTargetException e) {
            if (e.getCause() instanceof UnsatisfiedLinkError) {
                throw new Refusal(Status.NOT_LOADABLE, "the library has no " + method.name(),
                        "install library and jar from one build");
            }
            throw new Refusal(Status.FAILED, "the call ended with " + e.getCause(), "report it, with the log");
        } catch (ReflectiveOperationException e) {
            throw new IllegalStateException(e);
        }
    }

    /**
     * Makes it ready for calls.
     *
     * @throws Refusal when the library cannot be loaded or initialised
     */
    static void start() {
        load();
        initialise();
    }

    private static void load() {
        InstallRoot.open();
        try {
            NativeLibrary.load();
        } catch (UnsatisfiedLinkError e) {
            throw new Refusal(Status.NOT_LOADABLE, e.getMessage(), "run 'veskctl doctor' for the whole picture");
        }
    }

    private static void initialise() {
        if (ready) {
            return;
        }
        int code = new JniInit().initializeJNI();
        if (code != 0) {
            Meaning known = Meaning.of(null, code);
            throw new Refusal(Status.FAILED, "initialisation answered " + Meaning.describe(null, code),
                    known == null ? "read the log" : known.cures());
        }
        ready = true;
    }
}
