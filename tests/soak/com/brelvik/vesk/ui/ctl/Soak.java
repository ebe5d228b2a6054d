package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.jni.BackupJNI;
import com.brelvik.vesk.ui.modelobjects.jni.CorsaJNI;
import com.brelvik.vesk.ui.modelobjects.jni.EuqJNI;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.PrintStream;
import java.lang.reflect.InvocationTargetException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.concurrent.Callable;
import java.util.regex.Pattern;
import java.util.stream.Collectors;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

@Command(name = "soak", sortOptions = false, header = "Calls all native methods from many threads at once, while the "
        + "servers restart; started by tools/soak.",
        description = {"", "Exit status 0 when every check holds, else 4."})
final class Soak implements Callable<Integer> {
    private static final int CALIBRATION = 10;
    private static final long PROGRESS = 30_000_000_000L;

    @Parameters(index = "0", paramLabel = "MINUTES", description = "How long; a fraction will do")
    private double minutes;

    @Option(names = "--threads", defaultValue = "64", description = "Threads (default 64)")
    private int threads;

    @Option(names = "--seed", defaultValue = "1", description = "Which calls are drawn (default 1)")
    private long seed;

    @Option(names = "--calls", defaultValue = "" + Long.MAX_VALUE, description = "End after so many calls")
    private long calls;

    @Option(names = "--only", paramLabel = "REGEX", defaultValue = "", description = "Only entry points whose name has "
            + "a match, to find out where a finding comes from")
    private Pattern only;

    @Option(names = "--pause", defaultValue = "10", description = "Seconds between two restarts (default 10)")
    private int pause;

    @Option(names = "--folder", required = true, hidden = true, description = "What tools/soak filled")
    private Path folder;

    @Option(names = "--directory", required = true, hidden = true, description = "Port of the directory")
    private String directory;

    @Option(names = "--report", defaultValue = "/dev/stdout", hidden = true, description = "Where it is told: what "
            + "commands print goes to the VM's own output")
    private String report;

    private Steward steward;
    private Storm storm;
    private final Gauge gauge = new Gauge();

    public static void main(String[] args) {
        System.exit(new CommandLine(new Soak()).execute(args));
    }

    @Override
    public Integer call() throws IOException, InterruptedException, InvocationTargetException {
        Bridge.start();
        setUp();
        openServices();
        SoakTable table = new SoakTable(folder.toString(), directory);
        List<SoakCall> all = table.calls();
        refuseGaps(all);
        steward = new Steward(folder, pause);
        steward.order("supply start");
        long open = calibrate(table.owners().get(0), table.owners().get(1));
        all = all.stream().filter(call -> only.matcher(call.method().name()).find()).toList();
        storm = new Storm(all, steward, threads, calls, (long) (minutes * 60e9));
        try (PrintStream out = new PrintStream(new FileOutputStream(report, true), true, StandardCharsets.UTF_8)) {
            long references = Gauge.globalReferences();
            Map<String, Long> kinds = Gauge.kinds();
            Gauge.Sample first = Gauge.now(0, Kept.NOTHING);
            out.printf("a directory connection that stays open has %d bytes%n", open);
            SoakReport told = new SoakReport(out, storm, gauge, first, kinds, references);
            run(told);
            settle();
            return (told.print(steward) ? Status.DONE : Status.FAILED).number();
        }
    }

    // The appliance as the wizard leaves it, with the files that the tour makes.
    private void setUp() {
        Map<String, PeerMethod> methods =
                PeerMethod.all().stream().collect(Collectors.toMap(PeerMethod::name, method -> method));
        for (List<Tour.Stop> chapter : new SetUpTour(folder.toString()).stops()) {
            for (Tour.Stop stop : chapter) {
                if (stop.isCommand()) {
                    shell(stop.method().substring(2));
                } else {
                    PeerMethod method = methods.get(stop.method());
                    Bridge.call(method, Values.of(method, new HashMap<>(stop.arguments())));
                }
            }
        }
    }

    // What comes first in a console's life. The export has all that was set up, so that an import changes nothing.
    private void openServices() {
        EuqJNI quarantine = new EuqJNI();
        boolean open = quarantine.init_euq_lib() && quarantine.enableEuq() == 0
                && quarantine.registEuq("scanner-a") == 0;
        String session = Tour.lines(folder + "/session").get(0);
        if (!open || new CorsaJNI().isSessionFromCORSA(session) != 0
                || new BackupJNI().doExport(folder + "/saved.tgz") != 0) {
            throw new Refusal(Status.FAILED, "the appliance is not ready", "read the log");
        }
    }

    private static void shell(String command) {
        try {
            new ProcessBuilder("sh", "-c", command).redirectErrorStream(true)
                    .redirectOutput(ProcessBuilder.Redirect.DISCARD).start().waitFor();
        } catch (IOException | InterruptedException e) {
            throw new IllegalStateException(e);
        }
    }

    private static void refuseGaps(List<SoakCall> all) {
        Set<String> called = all.stream().map(call -> call.method().name()).collect(Collectors.toSet());
        List<String> missing = PeerMethod.all().stream().map(PeerMethod::name)
                .filter(name -> !called.contains(name) && !SoakTable.ABSENT.containsKey(name)).toList();
        if (!missing.isEmpty()) {
            throw new Refusal(Status.REFUSED, "nothing calls " + missing, "give it a row in SoakTable, or a reason in "
                    + "ABSENT");
        }
    }

    // A connection that stays open costs what the directory library's own structures do: measured, alone. What else
    // the VM does meanwhile only adds to it.
    private static long calibrate(SoakCall owned, SoakCall unowned) throws InvocationTargetException {
        long least = Long.MAX_VALUE;
        for (int round = 0; round < CALIBRATION; round++) {
            long before = NativeHeap.inUse();
            unowned.call(unowned.arguments());
            long taken = NativeHeap.inUse() - before;
            least = taken > 0 ? Math.min(least, taken) : least;
        }
        Kept connection = new Kept(least, 0, 1, 0);
        unowned.keepsWith(0, connection).keepsWith(205, connection);
        owned.keepsWith(205, connection);
        return least;
    }

    private void run(SoakReport told) throws IOException, InterruptedException {
        Thread restarting = new Thread(steward, "steward");
        restarting.setDaemon(true);
        storm.start(seed);
        restarting.start();
        long since = System.nanoTime();
        while (storm.goesOn()) {
            Thread.sleep(1000);
            Gauge.Sample sample = gauge.take(storm.done(), storm.kept());
            if (System.nanoTime() - since >= PROGRESS) {
                since = System.nanoTime();
                told.progress(sample);
            }
        }
        storm.await();
        gauge.write(folder.resolve("samples.log"));
        steward.end();
        restarting.join(30_000);
    }

    // What commands left in the background ends by itself.
    private static void settle() throws InterruptedException {
        for (int i = 0; i < 100 && Gauge.children().living() + Gauge.children().zombies() > 0; i++) {
            Thread.sleep(100);
        }
    }
}
