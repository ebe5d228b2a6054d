package com.brelvik.vesk.ui.ctl;

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

/** What the settings and the options of a command say together about a directory. */
final class DirectorySetup {
    private static final List<String> SECURITY = List.of("auto", "none", "starttls", "ldaps");
    private static final List<String> TLS_PORTS = List.of("636", "3269");

    private final String security;
    private final Path caFile;
    private final Path script;
    private final String host;
    private final String port;
    private final boolean kerberos;

    DirectorySetup(InstallRoot root, Map<String, String> texts) {
        String word = root.setting("LDAP", "security");
        String file = root.setting("LDAP", "ca_file");
        security = word.isEmpty() ? "auto" : word;
        caFile = RawProcess.path(file.isEmpty() ? "/etc/ssl/certs/ca-certificates.crt" : file);
        host = texts.get("host");
        port = texts.get("port");
        script = root.script(vendor(texts.get("vendor")));
        kerberos = texts.get("auth").equalsIgnoreCase("kerberos") || texts.get("auth").equals("1");
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

    /** What may be wrong when the library did not get through TLS, or lost a connection without it. */
    List<String> tlsClues() {
        TlsProbe probe = new TlsProbe(host, Integer.parseInt(port), security.equals("starttls"));
        if (hasTls()) {
            return probe.clues(authorities());
        }
        return probe.look() ? List.of("the port speaks TLS: set security = ldaps in section LDAP of vesk.ini")
                : List.of();
    }

    boolean isKerberos() {
        return kerberos;
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
