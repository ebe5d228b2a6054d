package com.brelvik.vesk.ui.ctl;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** The sample company on a directory server of its own, which offers StartTLS. */
final class Company implements AutoCloseable {
    private final Path folder = Files.createTempDirectory("slapd");
    private final Server server;
    final int port;

    Company() throws IOException, InterruptedException {
        Path ldif = folder.resolve("company.ldif");
        new ProcessBuilder(Server.tool("sample-company")).redirectOutput(ldif.toFile()).start().waitFor();
        server = new Server(Path.of("/dev/null"), Server.tool("private-slapd"), "--dir",
                folder.resolve("server").toString(), "--ldif", ldif.toString(), "--tls", "--port", "PORT");
        port = server.port;
    }

    /** A certificate that signed the server's ("ca") or did not ("other-ca"). */
    Path authority(String name) {
        return folder.resolve("server/tls/" + name + ".pem");
    }

    @Override
    public void close() throws IOException {
        server.close();
        Folders.delete(folder);
    }
}
