package com.brelvik.vesk.ui.ctl;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.GeneralSecurityException;
import java.security.KeyFactory;
import java.security.PrivateKey;
import java.security.Signature;
import java.security.spec.PKCS8EncodedKeySpec;
import java.util.Base64;
import java.util.UUID;

/** Issues sign-on sessions as {@code tools/make-signon-session} does, but without a process for each. */
final class SessionIssuer {
    private final PrivateKey key;

    private SessionIssuer(PrivateKey key) {
        this.key = key;
    }

    /** @param pem a key on P-256 */
    static SessionIssuer read(Path pem) {
        try {
            String text = Files.readString(pem).replaceAll("-----[A-Z ]+-----|\\s", "");
            return new SessionIssuer(KeyFactory.getInstance("EC")
                    .generatePrivate(new PKCS8EncodedKeySpec(Base64.getDecoder().decode(text))));
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        } catch (GeneralSecurityException e) {
            throw new IllegalStateException(e);
        }
    }

    /** The GUID of the console that issued the session. */
    static String issuer(String session) {
        String claims = new String(Base64.getUrlDecoder().decode(session.split("\\.")[1]), StandardCharsets.UTF_8);
        return claims.replaceFirst("(?s).*\"iss\"\\s*:\\s*\"([^\"]*)\".*", "$1");
    }

    /** A session of this moment. */
    String issue(String guid) {
        String claims = String.format("{\"iss\":\"%s\",\"aud\":\"gate.example.com\",\"iat\":%d,\"jti\":\"%s\","
                + "\"sub\":\"operator\"}", guid, System.currentTimeMillis() / 1000, UUID.randomUUID());
        String signed = encoded("{\"alg\":\"ES256\"}".getBytes(StandardCharsets.UTF_8)) + "."
                + encoded(claims.getBytes(StandardCharsets.UTF_8));
        try {
            Signature signature = Signature.getInstance("SHA256withECDSAinP1363Format");
            signature.initSign(key);
            signature.update(signed.getBytes(StandardCharsets.US_ASCII));
            return signed + "." + encoded(signature.sign());
        } catch (GeneralSecurityException e) {
            throw new IllegalStateException(e);
        }
    }

    private static String encoded(byte[] bytes) {
        return Base64.getUrlEncoder().withoutPadding().encodeToString(bytes);
    }
}
