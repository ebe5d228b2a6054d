package com.brelvik.vesk.ui.ctl;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.HashMap;
import java.util.Map;

/**
 * The install root and its settings, looked at before the native library does: it ends the whole process, with exit
 * status 0, when it cannot load them.
 */
record InstallRoot(Path path, Map<String, String> settings) {
    private static final String SET_IT = "set VESK_HOME to the install root, e.g. /opt/brelvik/vesk";

    /** @throws Refusal when the library could not load the settings */
    static InstallRoot open() {
        String home = RawProcess.variable("VESK_HOME");
        if (home == null || home.isEmpty()) {
            throw new Refusal(Status.REFUSED, "VESK_HOME is not set, so there are no settings to load", SET_IT);
        }
        Path file = Path.of(home, "config", "vesk.ini");
        try {
            return new InstallRoot(Path.of(home), parse(file, Files.readAllBytes(file)));
        } catch (IOException e) {
            String why = Files.exists(file) ? " cannot be read" : " is missing";
            throw new Refusal(Status.REFUSED, file + why, Files.exists(file)
                    ? "give this account the right to read it" : "put the file there, or " + SET_IT);
        }
    }

    String setting(String section, String key, String fallback) {
        return settings.getOrDefault(section + "\n" + key, fallback);
    }

    Path log() {
        return Path.of(setting("log", "file", path.resolve("log/adminui.log").toString()));
    }

    // What the settings library refuses is refused here, no more and no less.
    private static Map<String, String> parse(Path file, byte[] bytes) {
        Map<String, String> items = new HashMap<>();
        String section = "";
        int number = 0;
        for (String line : new String(bytes, StandardCharsets.UTF_8).replaceFirst("^\uFEFF", "").split("\n", -1)) {
            number++;
            String text = line.strip();
            int sign = text.replace(':', '=').indexOf('=');
            if (isSection(text)) {
                section = text.substring(1, text.indexOf(']'));
            } else if (line.indexOf('\0') >= 0 || !isComment(text) && (sign < 1 || text.startsWith("["))) {
                throw new Refusal(Status.REFUSED, file + ":" + number + ": syntax error",
                        "mend the line: it must be [section], key = value or a comment");
            } else if (!isComment(text)) {
                items.putIfAbsent(section + "\n" + text.substring(0, sign).strip(), text.substring(sign + 1).strip());
            }
        }
        return items;
    }

    // The settings library keeps 48 bytes of a section's name.
    private static boolean isSection(String text) {
        return text.startsWith("[") && text.contains("]") && text.indexOf(']') <= 49;
    }

    private static boolean isComment(String text) {
        return text.isEmpty() || text.startsWith(";") || text.startsWith("#");
    }
}
