package com.brelvik.vesk.ui.modelobjects.jni;

import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.Properties;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * Loads the native library once for all peer classes: the file that the system property {@code vesk.jni.library} names
 * in full, else {@code libveskjni.so} from the folders of {@code java.library.path}. Nothing is ever unpacked.
 */
public final class NativeLibrary {
    /** Names the file to load, by its full path. */
    public static final String PROPERTY = "vesk.jni.library";

    private static final String NAME = "veskjni";
    private static final Pattern BANNER = Pattern.compile("-Build_Linux_(\\d+) ");
    private static boolean loaded;

    private NativeLibrary() {}

    /**
     * Loads the library unless it is loaded. A library of another build than the jar is loaded all the same, with one
     * warning on the error output.
     *
     * @throws UnsatisfiedLinkError when it cannot be loaded; the message tells the file, the reason and the cure
     */
    public static synchronized void load() {
        if (loaded) {
            return;
        }
        String property = System.getProperty(PROPERTY);
        try {
            if (property != null) {
                System.load(property);
            } else {
                System.loadLibrary(NAME);
            }
        } catch (UnsatisfiedLinkError | RuntimeException e) {
            // Newer VMs answer an unwanted load with an exception instead of the error.
            UnsatisfiedLinkError explained = new UnsatisfiedLinkError(LoadFailure.explain(file(), property, e));
            explained.initCause(e);
            throw explained;
        }
        loaded = true;
        compareBuilds();
    }

    /** @return the file that is or would be loaded, or null when it is on no folder of {@code java.library.path} */
    public static Path file() {
        String property = System.getProperty(PROPERTY);
        if (property != null) {
            return Paths.get(property);
        }
        for (String folder : System.getProperty("java.library.path", "").split(":")) {
            Path file = Paths.get(folder, System.mapLibraryName(NAME));
            if (Files.exists(file)) {
                return file;
            }
        }
        return null;
    }

    /** @return width of a library or program file in bits, or 0 when it is none or cannot be read */
    public static int widthOf(Path file) {
        byte[] head = new byte[5];
        try (InputStream in = Files.newInputStream(file)) {
            if (in.read(head) < head.length || head[0] != 0x7f || head[1] != 'E' || head[2] != 'L' || head[3] != 'F') {
                return 0;
            }
        } catch (IOException e) {
            return 0;
        }
        return head[4] == 1 ? 32 : head[4] == 2 ? 64 : 0;
    }

    /** @return width of this VM in bits, or 0 when it does not tell */
    public static int widthOfVm() {
        String model = System.getProperty("sun.arch.data.model", "");
        if (model.equals("32") || model.equals("64")) {
            return Integer.parseInt(model);
        }
        return System.getProperty("os.arch", "").contains("64") ? 64 : 0;
    }

    /** @return build number of the jar, or null when it carries none */
    public static String buildOfJar() {
        Properties properties = new Properties();
        try (InputStream in = NativeLibrary.class.getResourceAsStream("/vesk-build.properties")) {
            if (in != null) {
                properties.load(in);
            }
        } catch (IOException e) {
            return null;
        }
        return properties.getProperty("build");
    }

    /** @return build number in the banner of a library file, or null when there is none */
    public static String buildOf(Path file) {
        try {
            Matcher banner = BANNER.matcher(new String(Files.readAllBytes(file), StandardCharsets.ISO_8859_1));
            return banner.find() ? banner.group(1) : null;
        } catch (IOException e) {
            return null;
        }
    }

    private static void compareBuilds() {
        Path file = file();
        String jar = buildOfJar();
        String library = file == null ? null : buildOf(file);
        if (jar != null && library != null && !jar.equals(library)) {
            System.err.println("Warning: " + file + " is build " + library + ", the jar is build " + jar
                    + "; install both from one build.");
        }
    }
}
