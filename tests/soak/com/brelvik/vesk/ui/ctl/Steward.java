package com.brelvik.vesk.ui.ctl;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.PrintStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Map;
import java.util.Queue;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.ConcurrentLinkedQueue;

/** Has {@code tools/soak} restart the servers, one after the other, and knows when each was away. */
final class Steward implements Runnable {
    /** Those that are restarted, by their names in {@code tools/company.sh}. */
    static final List<String> SERVERS = List.of("directory", "agent.1", "web", "reputation", "realm");

    // What was begun on a connection of before may still fail.
    private static final long GRACE = 2_000_000_000L;

    private record Outage(long from, long to) {}

    private final PrintStream orders;
    private final BufferedReader reports;
    private final long pause;
    private final Map<String, Queue<Outage>> outages = new ConcurrentHashMap<>();
    private final Map<String, Long> away = new ConcurrentHashMap<>();
    private volatile boolean ended;
    private volatile String failure;
    private volatile int restarts;

    /**
     * @param folder has the pipes {@code orders} and {@code reports}
     * @param seconds between two restarts
     */
    Steward(Path folder, int seconds) throws IOException {
        orders = new PrintStream(Files.newOutputStream(folder.resolve("orders")), true);
        reports = Files.newBufferedReader(folder.resolve("reports"));
        pause = seconds * 1000L;
        SERVERS.forEach(server -> outages.put(server, new ConcurrentLinkedQueue<>()));
    }

    @Override
    public void run() {
        try {
            for (int turn = 0; !ended; turn++) {
                Thread.sleep(pause);
                if (!ended) {
                    restart(SERVERS.get(turn % SERVERS.size()));
                    order("supply " + turn);
                }
            }
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
        } catch (IllegalStateException e) {
            failure = e.getMessage();
        }
    }

    /** Why it gave up, or null. */
    String failure() {
        return failure;
    }

    /** The restart that is under way is the last one. */
    void end() {
        ended = true;
    }

    int restarts() {
        return restarts;
    }

    /** Whether the server was away at any moment between two readings of {@link System#nanoTime}. */
    boolean wasAway(String server, long from, long to) {
        Long since = away.get(server);
        return since != null && since - to < 0
                || outages.get(server).stream().anyMatch(outage -> outage.from - to < 0 && outage.to - from > 0);
    }

    /** @throws IllegalStateException when it could not be carried out */
    synchronized void order(String order) {
        orders.println(order);
        try {
            String report = reports.readLine();
            if (!"ready".equals(report)) {
                throw new IllegalStateException(order + ": " + report);
            }
        } catch (IOException e) {
            throw new IllegalStateException(e);
        }
    }

    private void restart(String server) {
        long from = System.nanoTime();
        away.put(server, from);
        order("restart " + server);
        outages.get(server).add(new Outage(from, System.nanoTime() + GRACE));
        away.remove(server);
        restarts++;
    }
}
