package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.jni.ConsoleCommand;
import java.io.IOException;
import java.nio.channels.Channels;
import java.nio.channels.FileChannel;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.InvalidPathException;
import java.nio.file.Path;
import java.nio.file.attribute.BasicFileAttributes;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Stream;

/**
 * What this process logs as failures from now on: the library's answer to the question why. Some failures are lines
 * without a level, which the method that writes them explains by a pattern; so it does with lines that tell nothing.
 */
final class LogTail {
    private static final Pattern LINE =
            Pattern.compile("\\S+ L([-0-9]) " + ProcessHandle.current().pid() + "/\\d+ (.*)");
    private static final int MOST = 1 << 20;

    private final Pattern denial;
    private final Pattern routine;
    private final Path file;
    private final long end;
    private final Object identity;

    LogTail(InstallRoot root, ConsoleCommand command) {
        denial = pattern(command == null ? "" : command.denial());
        routine = pattern(command == null ? "" : command.routine());
        file = path(root.log());
        BasicFileAttributes now = attributes(file);
        end = now == null ? 0 : now.size();
        identity = now == null ? null : now.fileKey();
    }

    /** The failures so far, the oldest first, without time and numbers. None when the file cannot be read. */
    List<String> failures() {
        BasicFileAttributes now = attributes(file);
        if (now == null) {
            return List.of();
        }
        if (identity == null || identity.equals(now.fileKey()) && now.size() >= end) {
            return failures(file, end).toList();
        }
        // Set aside meanwhile, as the library does it with a file that is full.
        Path aside = path(file.toString().replaceFirst("(\\.[^./]*)?$", ".1$1"));
        BasicFileAttributes old = attributes(aside);
        boolean isOurs = old != null && identity.equals(old.fileKey());
        return Stream.concat(isOurs ? failures(aside, end) : Stream.of(), failures(file, 0)).toList();
    }

    private Stream<String> failures(Path from, long position) {
        try (FileChannel channel = FileChannel.open(from)) {
            byte[] bytes = Channels.newInputStream(channel.position(position)).readNBytes(MOST);
            return new String(bytes, StandardCharsets.UTF_8).lines().map(LINE::matcher).filter(Matcher::matches)
                    .filter(line -> line.group(1).equals("1") || denial.matcher(line.group(2)).find())
                    .map(line -> line.group(2)).filter(routine.asPredicate().negate());
        } catch (IOException e) {
            return Stream.of();
        }
    }

    // An empty one is in no line.
    private static Pattern pattern(String text) {
        return Pattern.compile(text.isEmpty() ? "(?!)" : text);
    }

    private static BasicFileAttributes attributes(Path file) {
        try {
            return file == null ? null : Files.readAttributes(file, BasicFileAttributes.class);
        } catch (IOException e) {
            return null;
        }
    }

    // A name that this locale cannot spell is no reason to refuse a call.
    private static Path path(String text) {
        try {
            return Path.of(text);
        } catch (InvalidPathException e) {
            return null;
        }
    }
}
