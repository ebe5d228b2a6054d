package com.brelvik.vesk.ui.ctl;

import java.io.Console;
import java.io.IOException;
import java.io.InputStream;
import java.nio.ByteBuffer;
import java.nio.charset.CharacterCodingException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;

/** Passwords come from a file, a variable or a prompt: on a command line every user of the machine could read them. */
final class Passwords {
    static final String VARIABLE = "VESK_PASSWORD";

    private static final int LONGEST = 1 << 16;

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
            return whole(variable, "the variable " + VARIABLE);
        }
        Console console = System.console();
        char[] typed = console == null ? null : console.readPassword("%s: ", prompt);
        if (typed == null) {
            throw new Refusal(Status.REFUSED, "no password given, and no terminal to ask for one",
                    "use --password-file FILE or the variable " + VARIABLE);
        }
        return whole(new String(typed), "what was typed");
    }

    // The VM puts U+FFFD in place of what it cannot decode; nobody has that in a password.
    private static String whole(String password, String from) {
        if (password.indexOf('\uFFFD') >= 0) {
            throw new Refusal(Status.REFUSED, from + " is not UTF-8", "write the password in UTF-8");
        }
        return password;
    }

    /**
     * The whole of a text that, like a password, has no place on a command line, without blanks around it.
     *
     * @param file null for standard input
     * @throws Refusal when it cannot be read, or has more than 64 KiB
     */
    static String input(String file, String name) {
        try (InputStream in = file == null ? System.in : Files.newInputStream(RawProcess.path(file))) {
            byte[] bytes = in.readNBytes(LONGEST + 1);
            if (bytes.length > LONGEST) {
                throw new Refusal(Status.REFUSED, name + ": more than " + LONGEST + " bytes", "give the right file");
            }
            return new String(bytes, StandardCharsets.UTF_8).strip();
        } catch (IOException e) {
            throw new Refusal(Status.REFUSED, name + ": " + (file == null ? "standard input" : file)
                    + " cannot be read", "check the file's name and its rights");
        }
    }

    private static String firstLine(Path file) {
        try {
            String bytes = new String(Files.readAllBytes(file), StandardCharsets.ISO_8859_1).split("\r?\n", 2)[0];
            // Unlike String's, this decoder refuses what it cannot decode.
            return StandardCharsets.UTF_8.newDecoder()
                    .decode(ByteBuffer.wrap(bytes.getBytes(StandardCharsets.ISO_8859_1))).toString();
        } catch (CharacterCodingException e) {
            throw new Refusal(Status.REFUSED, "password file " + file + " is not UTF-8",
                    "write the password in UTF-8");
        } catch (IOException e) {
            boolean isThere = Files.exists(file) && !Files.isDirectory(file);
            throw new Refusal(Status.REFUSED, "password file " + file + " cannot be read",
                    isThere ? "give this account the right to read it" : "check the file's name");
        }
    }
}
