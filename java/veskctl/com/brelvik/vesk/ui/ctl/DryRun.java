package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.jni.Arg;
import com.brelvik.vesk.ui.modelobjects.jni.NativeLibrary;
import java.io.IOException;
import java.lang.reflect.Parameter;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * Shows what a method would have a shell do. The library itself makes the commands, in a second VM with another
 * library in front of the C library, which prints them and runs nothing.
 */
final class DryRun {
    private static final String LIBRARY = "libveskdryrun.so";
    private static final String PRELOAD = "LD_PRELOAD";

    private DryRun() {}

    /**
     * Prints the commands, one a line.
     *
     * @param texts arguments by name
     * @throws Refusal when there is no such VM
     */
    static Status print(PeerMethod method, Map<String, String> texts, boolean json) {
        List<String> lines = inSecondVm(method, texts);
        if (json) {
            Map<String, Object> answer = new LinkedHashMap<>();
            answer.put("call", method.name());
            answer.put("commands", lines);
            Output.out().println(Json.of(answer));
        } else {
            lines.forEach(Output::data);
        }
        return Status.DONE;
    }

    /**
     * In the second VM, before anything is called: the system only warns of a library that it could not preload.
     *
     * @throws Refusal when a shell would run the commands
     */
    static void check() {
        try {
            if (Files.readString(Path.of("/proc/self/maps"), StandardCharsets.ISO_8859_1).contains("/" + LIBRARY)) {
                return;
            }
        } catch (IOException e) {
            // Then nobody knows.
        }
        throw new Refusal(Status.NOT_LOADABLE, LIBRARY + " was not loaded", "install library and jar from one build");
    }

    private static List<String> inSecondVm(PeerMethod method, Map<String, String> texts) {
        Path file = NativeLibrary.file();
        if (file == null) {
            throw new Refusal(Status.NOT_LOADABLE, "the native library is not found", "run 'veskctl doctor'");
        }
        List<String> command = new ArrayList<>(List.of(Path.of(System.getProperty("java.home"), "bin/java").toString(),
                "-D" + NativeLibrary.PROPERTY + "=" + file, "-cp", System.getProperty("java.class.path"),
                Main.class.getName(), "call", "--preloaded", method.name()));
        for (Parameter parameter : method.parameters()) {
            Arg arg = PeerMethod.describe(parameter);
            if (arg != null) {
                command.add(texts.get(arg.name()).replaceFirst("^@", "@@"));
            }
        }
        ProcessBuilder child = new ProcessBuilder(command);
        child.environment().merge(PRELOAD, file.resolveSibling(LIBRARY).toString(),
                (before, ours) -> before + " " + ours);
        try {
            return run(child);
        } catch (IOException | InterruptedException e) {
            throw new Refusal(Status.FAILED, "no second VM: " + e.getMessage(), "free some memory");
        }
    }

    private static List<String> run(ProcessBuilder child) throws IOException, InterruptedException {
        Path talk = Files.createTempFile("veskctl", ".txt");
        try {
            Process process = child.redirectError(talk.toFile()).start();
            List<String> lines = process.inputReader(StandardCharsets.UTF_8).lines().toList();
            int status = process.waitFor();
            if (status != 0) {
                throw new Refusal(status == Status.NOT_LOADABLE.number() ? Status.NOT_LOADABLE : Status.FAILED,
                        "the second VM said: " + Files.readString(talk).strip(), "run 'veskctl doctor'");
            }
            return lines;
        } finally {
            Files.delete(talk);
        }
    }
}
