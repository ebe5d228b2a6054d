package com.brelvik.vesk.ui.modelobjects.jni;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** Says in one message why the native library was not loaded. */
final class LoadFailure {
    private static final Pattern MISSING = Pattern.compile("([^\\s:]+): cannot open shared object file");

    private LoadFailure() {}

    /**
     * @param file what was tried; null when no folder of the path has it
     * @param property the system property that named it; null when it was looked for
     * @param failure what the VM threw
     */
    static String explain(Path file, String property, Throwable failure) {
        String said = String.valueOf(failure.getMessage());
        return "Cannot load the native library, tried " + tried(file) + ": " + reason(file, property, said)
                + " [VM: " + said + "]";
    }

    private static String tried(Path file) {
        if (file == null) {
            return System.mapLibraryName("veskjni") + " in " + System.getProperty("java.library.path");
        }
        int width = NativeLibrary.widthOf(file);
        return file + (width == 0 ? "" : " (" + width + "-bit)");
    }

    private static String reason(Path file, String property, String said) {
        if (said.contains("another classloader") || said.contains("already loaded in")) {
            return "another class loader of this VM already has it; keep the jar where one loader serves all users of "
                    + "it, and reload it only with the VM.";
        }
        if (said.contains("native access") || said.contains("llegal native")) {
            return "this VM wants permission for native code; start it with --enable-native-access=ALL-UNNAMED, or "
                    + "with =com.brelvik.vesk.ui when the jar is on the module path.";
        }
        if (file == null) {
            return "no such file; start the VM with -D" + NativeLibrary.PROPERTY + "=FULL-PATH.";
        }
        if (property != null && !file.isAbsolute()) {
            return NativeLibrary.PROPERTY + " must be a full path.";
        }
        return reasonInFile(file, said);
    }

    private static String reasonInFile(Path file, String said) {
        if (!Files.isReadable(file)) {
            return Files.exists(file) ? "the file may not be read." : "no such file.";
        }
        int width = NativeLibrary.widthOf(file);
        if (width == 0) {
            return "the file is not a library.";
        }
        int vm = NativeLibrary.widthOfVm();
        if (vm != 0 && width != vm) {
            return "this VM is " + vm + "-bit (" + System.getProperty("os.arch") + "); use a " + width
                    + "-bit Java, or the " + vm + "-bit library.";
        }
        Matcher missing = MISSING.matcher(said);
        if (missing.find()) {
            return "it needs " + missing.group(1) + ", which is not there; install it, or put it beside the library.";
        }
        return "the system's loader refused it.";
    }
}
