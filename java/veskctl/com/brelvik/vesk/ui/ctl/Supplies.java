package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.ctl.Doctor.Finding;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermission;
import java.util.List;
import java.util.Set;
import java.util.stream.Stream;

/**
 * What agents, updates, sign-on and quarantine need in settings and files. None of it keeps the console from working.
 */
record Supplies(InstallRoot root) {
    private static final Set<PosixFilePermission> OWNER_ONLY =
            Set.of(PosixFilePermission.OWNER_READ, PosixFilePermission.OWNER_WRITE);

    List<Finding> findings() {
        return List.of(agents(), updates(), cipher(), signOn(), quarantine());
    }

    private Finding agents() {
        List<String> agents = Stream.of(root.setting("agent", "scanners").split("[,\\s]+"))
                .filter(agent -> !agent.isEmpty()).toList();
        List<String> unfit = agents.stream().filter(agent -> !Shapes.isAgent(agent)).toList();
        if (!unfit.isEmpty()) {
            return bad("agents", "scanners names " + String.join(", ", unfit) + ", which is no host:port",
                    "mend scanners in section agent of vesk.ini");
        }
        return good("agents", agents.isEmpty() ? "no scanners are set: patch notifications reach nobody"
                : agents.size() + " set: " + String.join(", ", agents));
    }

    private Finding updates() {
        String source = root.setting("update", "source");
        if (source.isEmpty()) {
            return good("update", "no source is set: there are no updates");
        }
        Path key = file(root.setting("update", "key_file"), "config/update-key.pem");
        boolean isReadable = Files.isReadable(key);
        return isReadable ? good("update", source + ", key " + key) : bad("update", source + ", but " + key
                + " cannot be read", "put the public key there that signs the source's manifest");
    }

    // Made by the library, for this account alone.
    private Finding cipher() {
        Path key = root.path().resolve("config/cipher.key");
        try {
            return !Files.exists(key) && !Files.isWritable(key.getParent())
                    ? bad("cipher", key + " cannot be made",
                            "let this account write to its folder once, or make it there")
                    : !Files.exists(key) ? good("cipher", key + " is made on first use")
                    : !Files.isReadable(key) ? bad("cipher", key + " cannot be read", "give it to this account")
                    : OWNER_ONLY.containsAll(Files.getPosixFilePermissions(key)) ? good("cipher", key.toString())
                    : bad("cipher", key + " is open to others", "give it mode 0600, and encrypt the settings anew");
        } catch (IOException e) {
            return bad("cipher", key + " cannot be looked at: " + e.getMessage(), "check folder and rights");
        }
    }

    private Finding signOn() {
        Path key = root.path().resolve("config/SSO_PKI_PublicKey.pem");
        return !Files.exists(key) ? good("signon", key + " is not there: no central console can sign on")
                : Files.isReadable(key) ? good("signon", key.toString())
                : bad("signon", key + " cannot be read", "give this account the right to read it");
    }

    private Finding quarantine() {
        Path job = root.path().resolve("bin/euqjob");
        return Files.isExecutable(job) ? good("euq", job.toString()) : bad("euq", job
                + " is missing or cannot be run", "install it; without it no transfer or removal starts");
    }

    private Path file(String set, String fallback) {
        return root.path().resolve(set.isEmpty() ? fallback : set);
    }

    private static Finding good(String subject, String detail) {
        return new Finding(subject, detail, null, Status.DONE);
    }

    private static Finding bad(String subject, String detail, String cure) {
        return new Finding(subject, detail, cure, Status.DONE);
    }
}
