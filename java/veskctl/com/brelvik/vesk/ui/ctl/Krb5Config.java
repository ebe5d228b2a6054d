package com.brelvik.vesk.ui.ctl;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * The Kerberos configuration of the machine, as far as it stands in the file itself.
 *
 * @param files as {@code KRB5_CONFIG} names them, or the usual one
 * @param defaultRealm null when the file names none, or cannot be read
 */
record Krb5Config(String files, boolean isReadable, String defaultRealm) {
    private static final Pattern REALM = Pattern.compile("(?m)^\\s*default_realm\\s*=\\s*(\\S+)");

    static Krb5Config find() {
        String variable = RawProcess.variable("KRB5_CONFIG");
        String files = variable == null || variable.isEmpty() ? "/etc/krb5.conf" : variable;
        boolean readable = false;
        String realm = null;
        for (Path file : Arrays.stream(files.split(":")).map(RawProcess::path).toList()) {
            String text = read(file);
            readable |= text != null;
            Matcher found = REALM.matcher(text == null ? "" : text);
            realm = realm == null && found.find() ? found.group(1) : realm;
        }
        return new Krb5Config(files, readable, realm);
    }

    /** The realm that an account belongs to; null when nothing names one. */
    String realmOf(String account) {
        int at = account.lastIndexOf('@');
        return at < 0 ? defaultRealm : account.substring(at + 1);
    }

    private static String read(Path file) {
        try {
            return new String(Files.readAllBytes(file), StandardCharsets.ISO_8859_1);
        } catch (IOException e) {
            return null;
        }
    }
}
