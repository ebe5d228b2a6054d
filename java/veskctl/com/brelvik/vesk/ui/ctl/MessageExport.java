package com.brelvik.vesk.ui.ctl;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Map;

/** Has a message written by the agent, and shows it when the agent's export folder can be read here. */
final class MessageExport extends PeerCommand {
    private static final int LARGEST = 16 << 20;

    MessageExport(PeerMethod method) {
        super(method);
        addSwitch("--show", "Print the message, as it came; the export folder must be readable here");
        addText("--export-folder", "DIR", "The agent's export folder, for a FILE that is a plain name");
    }

    @Override
    Status run(Map<String, String> texts, boolean json) {
        boolean shows = option("--show");
        Path file = shows ? file(texts.get("FILE")) : null;
        Answer answer = Answer.of(method, Values.of(method, texts));
        if (!shows || answer.status() != Status.DONE) {
            return answer.print(asked(), json);
        }
        String message = read(file);
        if (json) {
            Map<String, Object> map = answer.toMap();
            map.put("message", message);
            Output.out().println(Json.of(map));
        } else {
            answer.tell(asked());
            Output.text(message);
        }
        return Status.DONE;
    }

    private Path file(String target) {
        String folder = option("--export-folder");
        if (folder == null && !target.startsWith("/")) {
            throw new Refusal(Status.REFUSED, "FILE is a plain name, so nobody knows here where it is",
                    "give --export-folder DIR, or FILE as a full path");
        }
        return RawProcess.path(target.startsWith("/") ? target : folder + "/" + target);
    }

    private static String read(Path file) {
        try {
            if (Files.size(file) > LARGEST) {
                throw new Refusal(Status.REFUSED, file + " has more than 16 MiB", "look at it with another program");
            }
            return new String(Files.readAllBytes(file), StandardCharsets.UTF_8);
        } catch (IOException e) {
            throw new Refusal(Status.FAILED, "the agent wrote the message, but " + file + " cannot be read here",
                    "read it where the agent runs, or check the folder and its rights");
        }
    }
}
