package com.brelvik.vesk.ui.ctl;

import java.io.EOFException;
import java.io.IOException;
import java.net.InetAddress;
import java.net.InetSocketAddress;
import java.net.Socket;
import java.net.SocketTimeoutException;
import java.net.UnknownHostException;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.KeyStore;
import java.security.cert.Certificate;
import java.security.cert.CertificateException;
import java.security.cert.X509Certificate;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collection;
import java.util.Date;
import java.util.List;
import java.util.Locale;
import javax.net.ssl.SSLContext;
import javax.net.ssl.SSLException;
import javax.net.ssl.SSLSocket;
import javax.net.ssl.TrustManager;
import javax.net.ssl.TrustManagerFactory;
import javax.net.ssl.X509TrustManager;

/** Looks at the certificate that a server shows, since the TLS library does not say what it dislikes about one. */
final class TlsProbe {
    private static final int WAIT_MS = 3000;
    private static final byte[] START_TLS =
            "\060\035\002\001\001\167\030\200\0261.3.6.1.4.1.1466.20037".getBytes(StandardCharsets.ISO_8859_1);

    private final String host;
    private final int port;
    private final boolean startTls;
    private final List<X509Certificate> chain = new ArrayList<>();
    private String refusal = "";
    private boolean isSilent;

    TlsProbe(String host, int port, boolean startTls) {
        this.host = host;
        this.port = port;
        this.startTls = startTls;
    }

    /** Whether the server answered with TLS; what its certificate says is kept. */
    boolean look() {
        try (Socket plain = new Socket()) {
            plain.connect(new InetSocketAddress(host, port), WAIT_MS);
            plain.setSoTimeout(WAIT_MS);
            if (startTls) {
                plain.getOutputStream().write(START_TLS);
                plain.getInputStream().read(new byte[WAIT_MS]);
            }
            SSLContext context = SSLContext.getInstance("TLS");
            context.init(null, new TrustManager[] {new Keeper()}, null);
            try (SSLSocket tls = (SSLSocket) context.getSocketFactory().createSocket(plain, host, port, true)) {
                tls.startHandshake();
            }
        } catch (SSLException e) {
            // A server without TLS hangs up, or answers in its own protocol.
            boolean isNone = e.getCause() instanceof EOFException || e.getMessage().contains("unrecognized");
            refusal = isNone ? "" : e.getMessage();
        } catch (IOException | GeneralSecurityException e) {
            isSilent = e instanceof SocketTimeoutException;
        }
        return !chain.isEmpty() || !refusal.isEmpty();
    }

    List<String> clues(Collection<? extends Certificate> trusted) {
        if (!look() && isSilent) {
            return List.of("the server takes the connection, but it does not answer");
        }
        if (chain.isEmpty() && refusal.isEmpty()) {
            return List.of("no TLS is spoken at this port" + (startTls ? " after StartTLS" : "; maybe with StartTLS"));
        }
        if (chain.isEmpty()) {
            return List.of("the VM does not get through either: " + refusal);
        }
        X509Certificate shown = chain.get(0);
        List<String> names = names(shown);
        List<String> clues = new ArrayList<>(List.of("the server's certificate is for " + (names.isEmpty()
                ? shown.getSubjectX500Principal() : String.join(", ", names)) + "; signed by "
                + shown.getIssuerX500Principal() + "; valid until " + shown.getNotAfter().toInstant()));
        if (shown.getNotAfter().before(new Date()) || shown.getNotBefore().after(new Date())) {
            clues.add("it is not valid now");
        } else if (!isTrusted(trusted)) {
            clues.add("ca_file holds no authority that signed it");
        }
        if (!names.isEmpty() && names.stream().noneMatch(this::fits)) {
            clues.add("it does not name " + (isLocalhost() ? wanted()
                    + ": the library takes localhost for the machine's own name" : host));
        }
        return clues;
    }

    private boolean fits(String name) {
        String wanted = wanted().toLowerCase(Locale.ROOT);
        String given = name.toLowerCase(Locale.ROOT);
        boolean isFuller = isLocalhost() && given.startsWith(wanted + ".");
        return given.equals(wanted) || isFuller || given.startsWith("*.") && wanted.contains(".")
                && given.substring(1).equals(wanted.substring(wanted.indexOf('.')));
    }

    private boolean isLocalhost() {
        return host.equalsIgnoreCase("localhost");
    }

    // As the library compares it, an address in the spelling of the certificate's.
    private String wanted() {
        try {
            return isLocalhost() ? InetAddress.getLocalHost().getHostName()
                    : host.contains(":") ? InetAddress.getByName(host).getHostAddress() : host;
        } catch (UnknownHostException e) {
            return host;
        }
    }

    private static List<String> names(X509Certificate certificate) {
        try {
            Collection<List<?>> names = certificate.getSubjectAlternativeNames();
            return names == null ? List.of() : names.stream().map(name -> String.valueOf(name.get(1))).toList();
        } catch (CertificateException e) {
            return List.of();
        }
    }

    private boolean isTrusted(Collection<? extends Certificate> trusted) {
        try {
            KeyStore store = KeyStore.getInstance(KeyStore.getDefaultType());
            store.load(null, null);
            for (Certificate authority : trusted) {
                store.setCertificateEntry("ca" + store.size(), authority);
            }
            TrustManagerFactory factory = TrustManagerFactory.getInstance(TrustManagerFactory.getDefaultAlgorithm());
            factory.init(store);
            ((X509TrustManager) factory.getTrustManagers()[0])
                    .checkServerTrusted(chain.toArray(X509Certificate[]::new), "UNKNOWN");
            return true;
        } catch (IOException | GeneralSecurityException e) {
            return false;
        }
    }

    /** Takes every certificate: nothing is sent over this connection. */
    private final class Keeper implements X509TrustManager {
        @Override
        public void checkServerTrusted(X509Certificate[] shown, String kind) {
            chain.addAll(Arrays.asList(shown));
        }

        @Override
        public void checkClientTrusted(X509Certificate[] shown, String kind) {
            throw new UnsupportedOperationException();
        }

        @Override
        public X509Certificate[] getAcceptedIssuers() {
            return new X509Certificate[0];
        }
    }
}
