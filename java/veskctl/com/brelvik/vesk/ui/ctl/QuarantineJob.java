package com.brelvik.vesk.ui.ctl;

import java.io.IOException;
import java.nio.file.Files;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** Starts a job of the end-user quarantine, and waits for its end if asked to. */
final class QuarantineJob extends PeerCommand {
    private static final Pattern PROGRESS = Pattern.compile("(\\w+) (\\d+) (\\d+)\\s");
    private static final int POLL_MILLIS = 200;
    private static final int LINE_SECONDS = 10;

    private final boolean moves;

    QuarantineJob(PeerMethod method) {
        super(method);
        moves = method.name().endsWith("transferEuqData");
        addSwitch("--wait", "Wait for the end and tell the result. Ctrl-C ends the waiting, not the job");
    }

    @Override
    Status run(Map<String, String> texts, boolean json) {
        Answer started = Answer.of(method, Values.of(method, texts));
        boolean waits = option("--wait");
        if (!waits || started.status() != Status.DONE) {
            return started.print(asked(), json);
        }
        Thread farewell = new Thread(() -> Output.talk("the job goes on; 'euq status' shows it"
                + (moves ? ", 'euq cancel' ends it" : "")));
        Runtime.getRuntime().addShutdownHook(farewell);
        await(method.sibling(moves ? "isTransferringEuqData" : "isRemovingEuqData"));
        Runtime.getRuntime().removeShutdownHook(farewell);
        return QuarantineResult.print(method.sibling(moves ? "getTransferEuqResult" : "getRemoveEuqResult"), asked(),
                json);
    }

    /** How far a job is that runs, as the library shows it in a file. */
    static String progress(boolean moves) {
        try {
            String line = Files.readString(InstallRoot.open().path().resolve("data/euq/progress"));
            Matcher counts = PROGRESS.matcher(line);
            if (counts.lookingAt() && counts.group(1).equals(moves ? "transfer" : "remove")) {
                return counts.group(2) + " of " + counts.group(3) + " messages";
            }
        } catch (IOException e) {
            // Not begun yet, or over.
        }
        return "no messages yet";
    }

    private void await(PeerMethod runs) {
        long start = System.nanoTime();
        boolean shows = Terminal.isThere();
        long nextLine = LINE_SECONDS;
        while (Boolean.TRUE.equals(Bridge.call(runs, new Object[0]))) {
            long seconds = (System.nanoTime() - start) / 1_000_000_000;
            String state = (moves ? "moved " : "removed ") + progress(moves) + ", " + seconds + " s";
            if (shows) {
                Output.err().print("\r\033[K" + state);
            } else if (seconds >= nextLine) {
                nextLine += LINE_SECONDS;
                Output.talk(state);
            }
            try {
                Thread.sleep(POLL_MILLIS);
            } catch (InterruptedException e) {
                Thread.currentThread().interrupt();
                return;
            }
        }
        if (shows) {
            Output.err().print("\r\033[K");
        }
    }
}
