package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.jni.ConsoleCommand;
import java.io.IOException;
import java.nio.file.DirectoryIteratorException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.HashSet;
import java.util.Set;

/** The queue of notifications. Who logs nothing, or to a full disk, says nothing of a mail that was not queued. */
final class MailQueue {
    private final InstallRoot root;
    private final String glob;
    private final Set<Path> known;

    MailQueue(InstallRoot root, ConsoleCommand command) {
        this.root = root;
        glob = command == null ? "" : command.queues();
        known = files();
    }

    /** Whether the command should have queued a file and none is to be seen. */
    boolean isMissing() {
        return !glob.isEmpty() && known.containsAll(files());
    }

    private Set<Path> files() {
        Set<Path> files = new HashSet<>();
        if (!glob.isEmpty()) {
            try (DirectoryStream<Path> found = Files.newDirectoryStream(RawProcess.path(root.queue()), glob)) {
                found.forEach(files::add);
            } catch (IOException | DirectoryIteratorException e) {
                return Set.of();  // nothing can be seen
            }
        }
        return files;
    }
}
