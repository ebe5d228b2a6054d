package com.brelvik.vesk.ui.ctl;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;
import java.util.Comparator;
import java.util.List;
import java.util.stream.Stream;

/** Whole folders. */
final class Folders {
    private Folders() {}

    static Path copy(Path from, Path to) throws IOException {
        try (Stream<Path> files = Files.walk(from)) {
            for (Path file : files.toList()) {
                Path copy = to.resolve(from.relativize(file));
                if (Files.isDirectory(file, LinkOption.NOFOLLOW_LINKS)) {
                    Files.createDirectories(copy);
                } else {
                    Files.copy(file, copy, LinkOption.NOFOLLOW_LINKS, StandardCopyOption.COPY_ATTRIBUTES);
                }
            }
        }
        return to;
    }

    static void delete(Path folder) throws IOException {
        try (Stream<Path> files = Files.walk(folder)) {
            for (Path file : files.sorted(Comparator.reverseOrder()).toList()) {
                Files.delete(file);
            }
        }
    }

    /** An install root as the appliance has it, with more lines in its settings. */
    static Path installRoot(String... settings) throws IOException {
        Path root = Files.createTempDirectory("vesk-home");
        copy(Ctl.SOURCE.resolve("appliance/root/opt/brelvik/vesk"), root);
        copy(Ctl.BUILD.resolve("share/vesk"), root);
        Files.createDirectories(root.resolve("log"));
        Files.write(root.resolve("config/vesk.ini"), List.of(settings), StandardOpenOption.APPEND);
        return root;
    }
}
