package com.brelvik.vesk.ui.ctl;

import java.io.Console;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;

/** Passwords come from a file, a variable or a prompt: on a command line every user of the machine could read them. */
final class Passwords {
    static final String VARIABLE = "VESK_PASSWORD";

    private Passwords() {}

    /**
     * @param file the file whose first line is the password; null to ask the variable and then the user
     * @throws Refusal when there is nobody to ask
     */
    static String read(String file, String prompt) {
        if (file != null) {
            return firstLine(RawProcess.path(file));
        }
        String variable = RawProcess.variable(VARIABLE);
        if (variable != null) {
            return variable;
        }
        Console console = System.console();
        char[] typed = console == null ? null : console.readPassword("%s: ", prompt);
        if (typed == null) {
            throw new Refusal(Status.REFUSED, "no password given, and no terminal to ask for one",
                    "use --password-file FILE or the variable " + VARIABLE);
        }
        return new String(typed);
    }

    private static String firstLine(Path file) {
        try {
            return new String(Files.readAllBytes(file), StandardCharsets.UTF_8).split("\r?\n", 2)[0];
        } catch (IOException e) {
            boolean isThere = Files.exists(file) && !Files.isDirectory(file);
            throw new Refusal(Status.REFUSED, "password file " + file + " cannot be read",
                    isThere ? "give this account the right to read it" : "check the file's name");
        }
    }
}
