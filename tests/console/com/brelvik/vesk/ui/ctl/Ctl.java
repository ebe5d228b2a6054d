package com.brelvik.vesk.ui.ctl;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.TimeUnit;

/** Runs veskctl in a VM of its own, which checks every JNI call. */
final class Ctl {
    static final Path SOURCE = Path.of(System.getProperty("vesk.source"));
    static final Path BUILD = Path.of(System.getProperty("vesk.build"));
    static final Path LIBRARY = BUILD.resolve("lib/libveskjni.so");

    /** What a run left behind. */
    record Run(int status, String out, String err) {
        List<String> lines() {
            return out.lines().toList();
        }
    }

    private final Map<String, String> environment = new HashMap<>();
    private Path library = LIBRARY;
    private boolean isSandboxed;

    /** A variable for the runs; null takes it away. */
    Ctl with(String name, String value) {
        environment.put(name, value);
        return this;
    }

    Ctl library(Path file) {
        library = file;
        return this;
    }

    /** Runs in the sandbox, on its install root. */
    Ctl sandboxed() {
        isSandboxed = true;
        return this;
    }

    Run run(List<String> arguments) throws IOException, InterruptedException {
        List<String> command = new ArrayList<>(List.of(Path.of(System.getProperty("java.home"), "bin/java").toString(),
                "-Xcheck:jni", "-XX:TieredStopAtLevel=1", "-Dvesk.jni.library=" + library, "-jar",
                BUILD.resolve("java/vesk-console.jar").toString()));
        command.addAll(arguments);
        String preload = System.getenv("VESK_PRELOAD");
        if (preload != null) { // not into the sandbox, whose files ThreadSanitizer would hold open for writing
            command.addAll(0, List.of("env", "LD_PRELOAD=" + preload));
        }
        if (isSandboxed) {
            command.add(0, SOURCE.resolve("tools/sandbox").toString());
        }
        Path folder = Files.createTempDirectory("veskctl");
        Path out = folder.resolve("out");
        Path err = folder.resolve("err");
        ProcessBuilder builder = new ProcessBuilder(command).redirectInput(Path.of("/dev/null").toFile())
                .redirectOutput(out.toFile()).redirectError(err.toFile());
        builder.environment().keySet().removeIf(name -> name.startsWith("VESK_") || name.startsWith("LC_"));
        builder.environment().put("LC_ALL", "C.UTF-8");
        if (preload != null) {
            builder.environment().merge("PATH", SOURCE.resolve("tests/console/preloaded").toString(),
                    (path, first) -> first + ":" + path);
        }
        environment.forEach((name, value) -> {
            builder.environment().remove(name);
            if (value != null) {
                builder.environment().put(name, value);
            }
        });
        Process process = builder.start();
        try {
            // A sanitizer takes its time.
            int seconds = preload == null ? 90 : 600;
            if (!process.waitFor(seconds, TimeUnit.SECONDS)) {
                throw new IOException("no end in " + seconds + " s: " + arguments);
            }
            return new Run(process.exitValue(), Files.readString(out), Files.readString(err));
        } finally {
            process.destroyForcibly();
            Folders.delete(folder);
        }
    }

    Run run(String... arguments) throws IOException, InterruptedException {
        return run(List.of(arguments));
    }
}
