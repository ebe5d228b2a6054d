package com.brelvik.vesk.ui.ctl;

import java.io.IOException;
import java.net.InetAddress;
import java.net.InetSocketAddress;
import java.net.Socket;
import java.net.UnknownHostException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.stream.Collectors;

/** Clues about a server that the library could not reach. */
final class Reachability {
    private static final int WAIT_MS = 500;
    private static final List<Integer> USUAL_PORTS = List.of(389, 636, 3268, 3269);

    private final String host;
    private final int port;

    Reachability(Map<String, String> texts) {
        host = texts.get("host");
        port = Integer.parseInt(texts.get("port"));
    }

    List<String> clues() {
        List<String> clues = new ArrayList<>();
        try {
            InetAddress[] addresses = InetAddress.getAllByName(host);
            String all = Arrays.stream(addresses).map(InetAddress::getHostAddress).collect(Collectors.joining(", "));
            if (!all.equals(host)) {
                clues.add(host + " is " + all);
            }
            if (answers(addresses[0], port)) {
                return List.of();  // it was something else
            }
            String open = USUAL_PORTS.stream().filter(other -> other != port && answers(addresses[0], other))
                    .map(String::valueOf).collect(Collectors.joining(", "));
            clues.add(open.isEmpty() ? "nothing answers at the usual ports either" : "but port " + open + " answers");
        } catch (UnknownHostException e) {
            clues.add("the VM does not resolve the name either");
        }
        return clues;
    }

    private static boolean answers(InetAddress address, int port) {
        try (Socket socket = new Socket()) {
            socket.connect(new InetSocketAddress(address, port), WAIT_MS);
            return true;
        } catch (IOException e) {
            return false;
        }
    }
}
