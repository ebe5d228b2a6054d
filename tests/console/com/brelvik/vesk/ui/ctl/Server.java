package com.brelvik.vesk.ui.ctl;

import java.io.IOException;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.net.Socket;
import java.nio.file.Path;
import java.util.concurrent.TimeUnit;

/** A server of the test's own on a free port, which stands as PORT in its command line. */
final class Server implements AutoCloseable {
    final int port;
    private final Process process;

    Server(Path input, String... command) throws IOException, InterruptedException {
        try (ServerSocket free = new ServerSocket(0, 1, InetAddress.getLoopbackAddress())) {
            port = free.getLocalPort();
        }
        for (int i = 0; i < command.length; i++) {
            command[i] = command[i].replace("PORT", Integer.toString(port));
        }
        process = new ProcessBuilder(command).redirectInput(input.toFile())
                .redirectOutput(ProcessBuilder.Redirect.DISCARD).redirectError(ProcessBuilder.Redirect.INHERIT).start();
        for (int i = 0; i < 600 && process.isAlive(); i++) {
            try {
                new Socket(InetAddress.getLoopbackAddress(), port).close();
                return;
            } catch (IOException e) {
                Thread.sleep(50);
            }
        }
        close();
        throw new IOException(command[0] + " did not start");
    }

    static String tool(String name) {
        return Ctl.SOURCE.resolve("tools").resolve(name).toString();
    }

    @Override
    public void close() {
        process.destroy();
        try {
            process.waitFor(10, TimeUnit.SECONDS);
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
        }
        process.destroyForcibly();
    }
}
