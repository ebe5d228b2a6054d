package com.brelvik.vesk.ui.ctl;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.stream.Stream;

/** The calls of a tour through a sample company's directory. */
final class Tour {
    /**
     * A call.
     *
     * @param method or a command for the shell, behind {@code $}
     * @param answer what it should answer
     * @param arguments by name, where they differ from those of the connection; a null value is passed as null
     * @param list what it should list, joined by blanks; null for anything
     */
    record Stop(String title, String method, Object answer, Map<String, String> arguments, String list) {
        Stop shows(String elements) {
            return new Stop(title, method, answer, arguments, elements);
        }

        boolean isCommand() {
            return method.startsWith("$ ");
        }
    }

    /** An answer that is another each time. */
    static final Object ANY = "any";

    private final String base;
    private final String domain;

    Tour(String base) {
        this.base = base;
        this.domain = base.replaceAll("(?i)dc=", "").replace(',', '.');
    }

    List<List<Stop>> stops() {
        return List.of(bases(), accounts(), lists(), filters(), groups(), mails(), faults());
    }

    /** What needs no server. */
    static List<Stop> appliance(String keytab, boolean hasAdministrator) {
        return List.of(
                at(hasAdministrator ? "A mail to the administrator" : "No administrator to write to",
                        "LdapJNI.notifyLdapCacheSyncFail", hasAdministrator ? 0 : -1),
                at("The newest principal of a keytab", "KerberosJNI.getSpnFromKeytab", 0, "FILE", keytab),
                at("A file that is no keytab", "KerberosJNI.getSpnFromKeytab", 0, "FILE", "/dev/null"),
                at("A null path", "KerberosJNI.getSpnFromKeytab", 500, "FILE", null));
    }

    /** The company's accounts in a realm of its name. */
    List<Stop> kerberos() {
        String realm = "@" + domain.toUpperCase(Locale.ROOT);
        return Stream.of(
                at("A password that the realm's key server knows", "LdapJNI.authenticateUTF8", 0, "ACCOUNT",
                        "ann" + realm, "password", "secret-ann"),
                at("The same with a wrong one", "LdapJNI.authenticateUTF8", 203, "ACCOUNT", "ann" + realm, "password",
                        "guess"),
                at("An account that the realm does not know", "LdapJNI.authenticateUTF8", 203, "ACCOUNT",
                        "nobody" + realm, "password", "guess"),
                at("Names, with a ticket for the bind account", "LdapJNI.searchLDAPUTF8", 0, "TEXT", "ring-*"),
                at("Wrong password of the bind account", "LdapJNI.checkBaseDN", 201, "bind-password", "guess"))
                .peek(stop -> stop.arguments().putAll(Map.of("auth", "kerberos", "host", "localhost", "bind-user",
                        "console" + realm))).toList();
    }

    private List<Stop> bases() {
        return List.of(
                at("Start-up, once for the process", "JniInit.initializeJNI", 0),
                at("The base DN exists", "LdapJNI.checkBaseDN", 0),
                at("A base DN that does not", "LdapJNI.checkBaseDN", 208, "base-dn", "ou=nowhere," + base),
                at("Not even a DN", "LdapJNI.checkBaseDN", 208, "base-dn", "nowhere"));
    }

    private List<Stop> accounts() {
        String method = "LdapJNI.authenticateUTF8";
        String ann = "uid=ann,ou=people," + base;
        return List.of(
                at("An account with its password", method, 0, "ACCOUNT", ann, "password", "secret-ann"),
                at("The same with a wrong one", method, 203, "ACCOUNT", ann, "password", "guess"),
                at("An empty password is refused here: servers let it in unchecked", method, 203, "ACCOUNT", ann,
                        "password", ""),
                at("A login name", "LdapJNI.isAccountExist", 0, "ACCOUNT", "ann"),
                at("A login name full of filter characters", "LdapJNI.isAccountExist", 0, "ACCOUNT", "star*(x)\\y"),
                at("An unknown login name", "LdapJNI.isAccountExist", 202, "ACCOUNT", "nobody"),
                at("A wildcard is no login name", "LdapJNI.isAccountExist", 202, "ACCOUNT", "an*"));
    }

    private List<Stop> lists() {
        String method = "LdapJNI.searchLDAPUTF8";
        return List.of(
                at("Users and groups by a part of the name", method, 0, "TEXT", "*müller*"),
                at("Another script", method, 0, "TEXT", "*田中*"),
                at("A supplementary character", method, 0, "TEXT", "𠮷野*"),
                at("Only groups", method, 0, "TEXT", "ring-*", "groups-only", "true"),
                at("No hit is a success", method, 0, "TEXT", "nobody"),
                at("Below a base that does not exist", method, 206, "TEXT", "*", "base-dn", "ou=nowhere," + base),
                at("Everything, users first", "LdapJNI.browseLDAP", 0),
                at("All groups", "LdapJNI.browseLDAP", 0, "groups-only", "true"));
    }

    private List<Stop> filters() {
        String method = "LdapJNI.directSearchLDAPUTF8";
        return List.of(
                at("All values of an attribute", method, 0, "FILTER", "(uid=ann)", "ATTRIBUTE", "mail"),
                at("Full names by a filter", method, 0, "FILTER", "(|(uid=eleni)(uid=yoshino)(uid=rosa))", "ATTRIBUTE",
                        "cn"),
                at("Entries without the attribute are left out", method, 0, "FILTER", "(uid=t*)", "ATTRIBUTE",
                        "displayName"),
                at("A filter that is none", method, 205, "FILTER", "(uid=", "ATTRIBUTE", "mail"));
    }

    private List<Stop> groups() {
        String method = "LdapJNI.isLDAPGroupContainAnotherUTF8";
        return List.of(
                at("Direct member", method, 0, "MEMBER", "ann", "GROUP", "berlin"),
                at("Member through three groups, in any case", method, 0, "MEMBER", "ann", "GROUP", "WORLD"),
                at("A group in a group", method, 0, "MEMBER", "germany", "GROUP", "world"),
                at("Groups that contain one another", method, 0, "MEMBER", "ringo", "GROUP", "ring-c"),
                at("Member by uid, in a group of another kind", method, 0, "MEMBER", "jmueller", "GROUP", "all-unix"),
                at("Not a member", method, 204, "MEMBER", "ann", "GROUP", "ring-a"),
                at("A group that does not exist", method, 204, "MEMBER", "ann", "GROUP", "no-such-group"));
    }

    private List<Stop> mails() {
        String method = "LdapJNI.getUserByMail";
        return List.of(
                at("The user who owns an address", method, 0, "ADDRESS", "ann@" + domain),
                at("A group may own one too", method, 0, "ADDRESS", "support@" + domain),
                at("Nobody's address is a success without a name", method, 0, "ADDRESS", "nobody@" + domain));
    }

    private List<Stop> faults() {
        return List.of(
                at("Nothing listens at the port", "LdapJNI.browseLDAP", 201, "port", freePort()),
                at("Wrong password of the bind account", "LdapJNI.checkBaseDN", 201, "bind-password", "guess"),
                at("Unknown way to authenticate", "LdapJNI.checkBaseDN", 201, "auth", "7"),
                at("A null argument", "LdapJNI.checkBaseDN", 500, "host", null),
                at("A null text", "LdapJNI.searchLDAPUTF8", 500, "TEXT", null));
    }

    static Stop at(String title, String method, Object answer, String... arguments) {
        Map<String, String> byName = new LinkedHashMap<>();
        for (int i = 0; i < arguments.length; i += 2) {
            byName.put(arguments[i], arguments[i + 1]);
        }
        return new Stop(title, method, answer, byName, null);
    }

    /** Of a file that was made for the tour. */
    static List<String> lines(String file) {
        try {
            return Files.readAllLines(Path.of(file));
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    // Free at this moment, at least.
    private static String freePort() {
        try (ServerSocket socket = new ServerSocket(0, 1, InetAddress.getLoopbackAddress())) {
            return Integer.toString(socket.getLocalPort());
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }
}
