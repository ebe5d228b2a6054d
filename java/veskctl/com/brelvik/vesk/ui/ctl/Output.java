package com.brelvik.vesk.ui.ctl;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.util.List;

/** Data goes to standard output, talk to the error output; both are UTF-8, whatever the locale. */
final class Output {
    private static final PrintStream OUT =
            new PrintStream(new FileOutputStream(FileDescriptor.out), true, StandardCharsets.UTF_8);
    private static final PrintStream ERR =
            new PrintStream(new FileOutputStream(FileDescriptor.err), true, StandardCharsets.UTF_8);

    private Output() {}

    static PrintStream out() {
        return OUT;
    }

    static PrintStream err() {
        return ERR;
    }

    static void data(String line) {
        OUT.println(shown(line));
    }

    /** A text of several lines, which may have tabs. */
    static void text(String lines) {
        text(lines, "");
    }

    static void text(String lines, String indent) {
        lines.lines().forEach(line -> OUT.println(indent + shown(line).replace("\\u0009", "\t")));
    }

    static void talk(String line) {
        ERR.println(shown(line));
    }

    /** The three lines of an error, and what the library logged about it. */
    static void error(String asked, String happened, List<String> failures, String next) {
        talk("asked:    " + asked);
        talk("happened: " + happened);
        log(failures);
        talk("next:     " + next);
    }

    static void log(List<String> failures) {
        failures.forEach(line -> talk("log:      " + line));
    }

    /** A text from outside with all that could steer a terminal, or turn the reading direction, made visible. */
    static String shown(String text) {
        StringBuilder safe = new StringBuilder(text.length());
        text.codePoints().forEach(c -> {
            if (Character.isISOControl(c) || isDirection(c)) {
                safe.append(String.format("\\u%04x", c));
            } else {
                safe.appendCodePoint(c);
            }
        });
        return safe.toString();
    }

    /** The text, or as many characters of it and dots. */
    static String cut(String text, int most) {
        return text.codePointCount(0, text.length()) <= most ? text
                : text.substring(0, text.offsetByCodePoints(0, most)) + "...";
    }

    private static boolean isDirection(int c) {
        return c >= 0x202A && c <= 0x202E || c >= 0x2066 && c <= 0x2069;
    }
}
