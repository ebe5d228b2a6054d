package com.brelvik.vesk.ui.ctl;

import java.io.IOException;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.net.Socket;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.concurrent.TimeUnit;

/** The sample company on a directory server of its own, which offers StartTLS. */
final class Company implements AutoCloseable {
    private final Path folder = Files.createTempDirectory("slapd");
    private final Process server;
    final int port;

    Company() throws IOException, InterruptedException {
        Path ldif = folder.resolve("company.ldif");
        tool("sample-company").redirectOutput(ldif.toFile()).start().waitFor();
        try (ServerSocket free = new ServerSocket(0, 1, InetAddress.getLoopbackAddress())) {
            port = free.getLocalPort();
        }
        server = tool("private-slapd", "--dir", folder.resolve("server").toString(), "--ldif", ldif.toString(),
                "--tls", "--port", Integer.toString(port)).redirectOutput(ProcessBuilder.Redirect.DISCARD)
                .redirectError(ProcessBuilder.Redirect.INHERIT).start();
        awaitPort();
    }

    /** A certificate that signed the server's ("ca") or did not ("other-ca"). */
    Path authority(String name) {
        return folder.resolve("server/tls/" + name + ".pem");
    }

    private static ProcessBuilder tool(String name, String... arguments) {
        ProcessBuilder builder = new ProcessBuilder(Ctl.SOURCE.resolve("tools").resolve(name).toString());
        builder.command().addAll(List.of(arguments));
        return builder;
    }

    private void awaitPort() throws IOException, InterruptedException {
        for (int i = 0; i < 600 && server.isAlive(); i++) {
            try {
                new Socket(InetAddress.getLoopbackAddress(), port).close();
                return;
            } catch (IOException e) {
                Thread.sleep(50);
            }
        }
        close();
        throw new IOException("the directory server did not start");
    }

    @Override
    public void close() throws IOException {
        server.destroy();
        try {
            server.waitFor(10, TimeUnit.SECONDS);
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
        }
        server.destroyForcibly();
        Folders.delete(folder);
    }
}
