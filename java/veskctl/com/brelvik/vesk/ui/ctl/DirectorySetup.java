package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.AuthType;
import com.brelvik.vesk.ui.modelobjects.LdapVendor;
import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.cert.Certificate;
import java.security.cert.CertificateException;
import java.security.cert.CertificateFactory;
import java.util.Collection;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.stream.Stream;

/** What the settings and the options of a command say together about a directory. */
final class DirectorySetup {
    private static final List<String> SECURITY = List.of("auto", "none", "starttls", "ldaps");
    private static final List<String> TLS_PORTS = List.of("636", "3269");

    private final String security;
    private final Path caFile;
    private final Path script;
    private final String host;
    private final String port;
    private final String auth;

    DirectorySetup(InstallRoot root, Map<String, String> texts) {
        String word = root.setting("LDAP", "security");
        String file = root.setting("LDAP", "ca_file");
        security = word.isEmpty() ? "auto" : word;
        caFile = RawProcess.path(file.isEmpty() ? "/etc/ssl/certs/ca-certificates.crt" : file);
        host = texts.get("host");
        port = texts.get("port");
        script = root.script(vendor(texts.get("vendor")));
        auth = texts.get("auth");
    }

    private static LdapVendor vendor(String text) {
        for (LdapVendor vendor : LdapVendor.values()) {
            if (vendor.name().equalsIgnoreCase(text) || text.equals(Integer.toString(vendor.code()))) {
                return vendor;
            }
        }
        return LdapVendor.GENERIC;
    }

    /** @throws Refusal when something is wrong that can be seen without the server */
    void check() {
        if (host.isEmpty()) {
            throw new Refusal(Status.REFUSED, "host: no server is named", "give its name or address");
        }
        if (Stream.of(AuthType.values()).noneMatch(this::isAuth)) {
            throw new Refusal(Status.REFUSED, "auth: " + auth + " is unknown", "give simple or kerberos");
        }
        if (!SECURITY.contains(security)) {
            throw new Refusal(Status.REFUSED, "security = " + security + " in section LDAP of vesk.ini is unknown",
                    "set it to " + String.join(", ", SECURITY));
        }
        if (hasTls()) {
            authorities();
        }
        if (!Files.isReadable(script)) {
            throw new Refusal(Status.REFUSED, script + (Files.exists(script) ? " cannot be read" : " is missing"),
                    "put the vendor's script there, or choose another vendor");
        }
    }

    /** Whom a server's certificate is trusted by. */
    private Collection<? extends Certificate> authorities() {
        String cure = "set ca_file in section LDAP of vesk.ini to a PEM file with the authority's certificate";
        try (InputStream in = Files.newInputStream(caFile)) {
            Collection<? extends Certificate> found =
                    CertificateFactory.getInstance("X.509").generateCertificates(in);
            if (found.isEmpty()) {
                throw new Refusal(Status.REFUSED, caFile + " holds no certificate", cure);
            }
            return found;
        } catch (IOException e) {
            String why = Files.exists(caFile) ? " cannot be read" : " is missing";
            throw new Refusal(Status.REFUSED, caFile + why, cure);
        } catch (CertificateException e) {
            throw new Refusal(Status.REFUSED, caFile + " is no PEM file of certificates", cure);
        }
    }

    boolean hasTls() {
        return security.equals("starttls") || security.equals("ldaps")
                || security.equals("auto") && TLS_PORTS.contains(port);
    }

    /** What may be wrong when the library did not get through TLS. */
    List<String> tlsClues() {
        return probe().clues(authorities());
    }

    /** Whether the port speaks TLS and the library would not. */
    boolean lacksTls() {
        return !hasTls() && probe().look();
    }

    private TlsProbe probe() {
        return new TlsProbe(host, Integer.parseInt(port), security.equals("starttls"));
    }

    boolean isKerberos() {
        return isAuth(AuthType.KERBEROS);
    }

    private boolean isAuth(AuthType type) {
        return auth.equalsIgnoreCase(type.name()) || auth.equals(Integer.toString(type.code()));
    }

    Path script() {
        return script;
    }

    String tls() {
        return (security.equals("starttls") ? "StartTLS" : "LDAPS") + ", trusting " + caFile;
    }

    String summary() {
        return "security " + security + ", script " + script;
    }
}
