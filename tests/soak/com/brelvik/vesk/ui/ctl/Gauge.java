package com.brelvik.vesk.ui.ctl;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.lang.management.ManagementFactory;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Collections;
import java.util.Comparator;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.locks.LockSupport;
import java.util.function.ToDoubleFunction;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import javax.management.JMException;
import javax.management.ObjectName;

/** What this process holds, sampled as calls go by. */
final class Gauge {
    private static final int WINDOWS = 25;
    private static final Path OWN = Path.of("/proc/self");

    /**
     * At one moment.
     *
     * @param calls done before
     * @param heap bytes in use in the C heap
     * @param vm those that the VM itself asked for
     * @param copies those that it asked for on behalf of native code, and for other inner things
     * @param resident bytes in memory that are not the Java heap, which is fixed and in memory from the start
     * @param kept by the calls until then, on purpose
     */
    record Sample(long calls, long heap, long vm, long copies, long resident, Kept kept, long descriptors, long threads) {
        /** Bytes in use in the C heap that the VM did not ask for. */
        long libraries() {
            return heap - vm;
        }
    }

    /** Processes that this one started and that are still there, or have ended without being waited for. */
    record Children(long living, long zombies) {}

    private final List<Sample> samples = new ArrayList<>();

    synchronized Sample take(long calls, Kept kept) {
        Sample sample = now(calls, kept);
        samples.add(sample);
        return sample;
    }

    static Sample now(long calls, Kept kept) {
        long java = Runtime.getRuntime().totalMemory();
        String account = diagnose("vmNativeMemory", "summary", "scale=B");
        return new Sample(calls, NativeHeap.inUse(), sum(account), sum(account.replaceFirst(
                "(?s).*?(- +Internal .*?)\n-.*", "$1")), status("RssAnon") * 1024 - java, kept, descriptors(),
                status("Threads"));
    }

    /**
     * Bytes a thousand calls, by least squares after a first third to warm up. Of each of some windows the lowest
     * sample counts: the others have what the calls of that moment hold, which a leak does not.
     */
    synchronized double slope(ToDoubleFunction<Sample> figure) {
        List<Sample> steady = samples.subList(samples.size() / 3, samples.size());
        int window = Math.max(1, steady.size() / WINDOWS);
        List<Sample> lowest = new ArrayList<>();
        for (int i = 0; i + window <= steady.size(); i += window) {
            lowest.add(Collections.min(steady.subList(i, i + window), Comparator.comparingDouble(figure)));
        }
        double meanCalls = lowest.stream().mapToDouble(Sample::calls).average().orElse(0);
        double mean = lowest.stream().mapToDouble(figure).average().orElse(0);
        double above = 0;
        double below = 0;
        for (Sample sample : lowest) {
            above += (sample.calls - meanCalls) * (figure.applyAsDouble(sample) - mean);
            below += (sample.calls - meanCalls) * (sample.calls - meanCalls);
        }
        return below == 0 ? 0 : 1000 * above / below;
    }

    /** One a line: calls, C heap, of it the VM's, copies, memory, kept bytes, descriptors, threads. */
    synchronized void write(Path file) throws IOException {
        Files.write(file, samples.stream().map(sample -> String.join(" ", List.of("" + sample.calls, "" + sample.heap,
                "" + sample.vm, "" + sample.copies,                "" + sample.resident, "" + sample.kept.bytes(), "" + sample.descriptors, "" + sample.threads)))
                .toList());
    }

    /** How many descriptors there are of each kind. */
    static Map<String, Long> kinds() {
        try (Stream<Path> files = Files.list(OWN.resolve("fd"))) {
            return files.map(Gauge::kind).collect(Collectors.groupingBy(kind -> kind, TreeMap::new,
                    Collectors.counting()));
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    static Children children() {
        String own = Long.toString(ProcessHandle.current().pid());
        List<String> states = new ArrayList<>();
        try (Stream<Path> processes = Files.list(Path.of("/proc"))) {
            processes.filter(path -> path.getFileName().toString().matches("\\d+")).forEach(path -> {
                String[] fields = behindName(path);
                if (fields.length > 1 && fields[1].equals(own)) {
                    states.add(fields[0]);
                }
            });
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
        long zombies = states.stream().filter("Z"::equals).count();
        return new Children(states.size() - zombies, zombies);
    }

    /**
     * Global references of the JNI, as the VM itself counts them: the fewest of some looks, since a method that is
     * being compiled has one.
     */
    static long globalReferences() {
        long fewest = Long.MAX_VALUE;
        for (int look = 0; look < 10; look++) {
            Matcher found = Pattern.compile("JNI global refs: (\\d+)").matcher(diagnose("threadPrint"));
            if (!found.find()) {
                throw new IllegalStateException("the VM does not tell its global references");
            }
            fewest = Math.min(fewest, Long.parseLong(found.group(1)));
            LockSupport.parkNanos(20_000_000);
        }
        return fewest;
    }

    private static String diagnose(String command, String... arguments) {
        try {
            return (String) ManagementFactory.getPlatformMBeanServer().invoke(
                    new ObjectName("com.sun.management:type=DiagnosticCommand"), command, new Object[] {arguments},
                    new String[] {String[].class.getName()});
        } catch (JMException e) {
            throw new IllegalStateException(e);
        }
    }

    // State and parent come first behind the program's name, which may hold anything.
    private static String[] behindName(Path process) {
        try {
            return Files.readString(process.resolve("stat")).replaceFirst("(?s).*\\) ", "").split(" ", 3);
        } catch (IOException e) {
            return new String[0]; // it has ended
        }
    }

    // Of the VM's account of its memory, what comes from the C heap.
    private static long sum(String account) {
        return Pattern.compile("(?:malloc|arena|tracking overhead)=(\\d+)").matcher(account).results()
                .mapToLong(found -> Long.parseLong(found.group(1))).sum();
    }

    private static String kind(Path descriptor) {
        try {
            return Files.readSymbolicLink(descriptor).toString().replaceFirst(":\\[\\d+\\]$", "");
        } catch (IOException e) {
            return "gone";
        }
    }

    private static long descriptors() {
        try (Stream<Path> files = Files.list(OWN.resolve("fd"))) {
            return files.count() - 1; // the list itself
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    private static long status(String key) {
        try (Stream<String> lines = Files.lines(OWN.resolve("status"))) {
            return lines.filter(line -> line.startsWith(key + ":"))
                    .mapToLong(line -> Long.parseLong(line.replaceAll("\\D", ""))).findFirst().orElseThrow();
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }
}
