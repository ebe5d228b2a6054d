package com.brelvik.vesk.ui.ctl;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.InvalidPathException;
import java.nio.file.Path;
import java.util.Arrays;

/**
 * Arguments and variables as UTF-8, also in a locale that has no UTF-8: there the VM has replaced every byte that is
 * not ASCII before the program starts, but the system still has the originals.
 */
final class RawProcess {
    private RawProcess() {}

    static String[] arguments(String[] decoded) {
        String[] all = texts("cmdline");
        if (isUtf8() || all.length < decoded.length) {
            return decoded;
        }
        return Arrays.copyOfRange(all, all.length - decoded.length, all.length);
    }

    /** The variable's value, or null. */
    static String variable(String name) {
        if (isUtf8() || System.getenv(name) == null) {
            return System.getenv(name);
        }
        return Arrays.stream(texts("environ")).filter(entry -> entry.startsWith(name + "="))
                .map(entry -> entry.substring(name.length() + 1)).findFirst().orElse(System.getenv(name));
    }

    /** @throws Refusal when the VM cannot name the file in this locale */
    static Path path(String text) {
        try {
            return Path.of(text);
        } catch (InvalidPathException e) {
            throw new Refusal(Status.REFUSED, "the VM cannot name " + text + " in this locale",
                    "run in a UTF-8 locale, e.g. LC_ALL=C.UTF-8");
        }
    }

    private static boolean isUtf8() {
        return System.getProperty("sun.jnu.encoding", "").equalsIgnoreCase("UTF-8");
    }

    private static String[] texts(String file) {
        try {
            String all = new String(Files.readAllBytes(Path.of("/proc/self", file)), StandardCharsets.UTF_8);
            return all.isEmpty() ? new String[0] : all.substring(0, all.length() - 1).split("\0", -1);
        } catch (IOException e) {
            return new String[0];
        }
    }
}
