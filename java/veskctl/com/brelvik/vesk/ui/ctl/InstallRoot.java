package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.LdapVendor;
import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.HashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;

/**
 * The install root and its settings, looked at before the native library does: it ends the whole process, with exit
 * status 0, when it cannot load them. No shutdown hook runs then, so what the library refuses must be refused here.
 */
record InstallRoot(Path path, Map<String, String> settings) {
    private static final String SET_IT = "set VESK_HOME to the install root, e.g. /opt/brelvik/vesk";
    private static final String SETTINGS = "/config/vesk.ini";
    private static final int LONGEST_PATH = 511;
    private static final int LARGEST_FILE = 16 * 1024 * 1024;
    private static final int LONGEST_SECTION = 48;
    private static final String BLANKS = " \t\n\u000B\f\r";
    private static final List<String> LEVELS = List.of("NORMAL", "DETAIL", "DIAGNOSTIC", "NOLOG", "DEBUG");

    /** @throws Refusal when the library could not load the settings */
    static InstallRoot open() {
        String home = RawProcess.variable("VESK_HOME");
        if (home == null || home.isEmpty()) {
            throw new Refusal(Status.REFUSED, "VESK_HOME is not set, so there are no settings to load", SET_IT);
        }
        if ((home + SETTINGS).getBytes(StandardCharsets.UTF_8).length > LONGEST_PATH) {
            throw new Refusal(Status.REFUSED, "VESK_HOME is too long: the library reads " + LONGEST_PATH
                    + " bytes of " + home + SETTINGS, "move the install root to a shorter path");
        }
        Path file = RawProcess.path(home + SETTINGS);
        return new InstallRoot(Path.of(home), parse(file, read(file)));
    }

    /**
     * The path as it stands in commands, without quotes.
     *
     * @throws Refusal when a shell would read something else
     */
    String pathForShell() {
        if (!path.toString().matches("[A-Za-z0-9._/+@,:\\P{ASCII}-]+")) {
            throw new Refusal(Status.REFUSED, "VESK_HOME: '" + path + "' stands without quotes in this command, and a "
                    + "shell would not read it as one path", "move the install root to a path of A-Z a-z 0-9 . _ / + @ "
                    + ", : -");
        }
        return path.toString();
    }

    /** The setting, or an empty text when it is missing. */
    String setting(String section, String key) {
        return settings.getOrDefault(section + "\n" + key, "");
    }

    /** The vendor's script. */
    Path script(LdapVendor vendor) {
        return path.resolve("ldap/" + vendor.name().toLowerCase(Locale.ROOT) + "/ldapscript.conf");
    }

    /** The log file as the library finds it. */
    String log() {
        String file = setting("log", "file").isEmpty() ? "log/adminui.log" : setting("log", "file");
        return file.startsWith("/") ? file : path + "/" + file;
    }

    /** The folder that notifications are queued in. */
    String queue() {
        String folder = setting("general", "queue_notify");
        return folder.isEmpty() ? "/tmp/queue/notify" : folder;
    }

    /** The level that the console's log has; the beginning of a name is enough for the library. */
    String logLevel() {
        String ui = setting("log_level", "ui");
        String name = ui.isEmpty() ? setting("general", "log_level") : ui;
        return LEVELS.stream().filter(name.toUpperCase(Locale.ROOT)::startsWith).findFirst()
                .orElse("DEBUG (" + (name.isEmpty() ? "not set" : "unknown: " + name) + ")");
    }

    private static byte[] read(Path file) {
        byte[] bytes;
        try (InputStream in = Files.newInputStream(file)) {
            bytes = in.readNBytes(LARGEST_FILE + 1);
        } catch (IOException e) {
            String why = Files.exists(file) ? " cannot be read" : " is missing";
            throw new Refusal(Status.REFUSED, file + why, Files.exists(file)
                    ? "give this account the right to read it" : "put the file there, or " + SET_IT);
        }
        if (bytes.length > LARGEST_FILE) {
            throw new Refusal(Status.REFUSED, file + " is larger than 16 MiB", "put the settings file there");
        }
        return bytes;
    }

    // What the settings library refuses is refused here, no more and no less. A character is a byte, as it is there.
    private static Map<String, String> parse(Path file, byte[] bytes) {
        Map<String, String> items = new HashMap<>();
        String section = "";
        int number = 0;
        for (String line : withoutMark(new String(bytes, StandardCharsets.ISO_8859_1)).split("\n", -1)) {
            number++;
            String text = trimmed(line);
            int sign = text.replace(':', '=').indexOf('=');
            boolean item = sign > 0 && !text.startsWith("[") && section.length() <= LONGEST_SECTION;
            if (line.indexOf('\0') >= 0 || !item && !isSection(text) && !isComment(text)) {
                throw new Refusal(Status.REFUSED, file + ":" + number + ": syntax error",
                        "mend the line: it must be [section], key = value or a comment, a section's name at most "
                                + LONGEST_SECTION + " bytes long");
            } else if (isSection(text)) {
                section = text.substring(1, text.indexOf(']'));
            } else if (!isComment(text)) {
                items.put(decoded(section + "\n" + trimmed(text.substring(0, sign))),
                        decoded(trimmed(text.substring(sign + 1))));
            }
        }
        return items;
    }

    private static String withoutMark(String text) {
        return text.startsWith("\u00EF\u00BB\u00BF") ? text.substring(3) : text;
    }

    private static String decoded(String bytes) {
        return new String(bytes.getBytes(StandardCharsets.ISO_8859_1), StandardCharsets.UTF_8);
    }

    // String.strip() would take more away than the library does.
    private static String trimmed(String text) {
        int from = 0;
        int to = text.length();
        while (from < to && BLANKS.indexOf(text.charAt(from)) >= 0) {
            from++;
        }
        while (to > from && BLANKS.indexOf(text.charAt(to - 1)) >= 0) {
            to--;
        }
        return text.substring(from, to);
    }

    private static boolean isSection(String text) {
        return text.startsWith("[") && text.contains("]");
    }

    private static boolean isComment(String text) {
        return text.isEmpty() || text.startsWith(";") || text.startsWith("#");
    }
}
