package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.jni.Arg;
import com.brelvik.vesk.ui.modelobjects.jni.ConsoleCommand;
import com.brelvik.vesk.ui.modelobjects.jni.NativeLibrary;
import com.brelvik.vesk.ui.modelobjects.jni.OwnCode;
import com.brelvik.vesk.ui.modelobjects.jni.OwnCodes;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.lang.annotation.Annotation;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.lang.reflect.Parameter;
import java.net.URI;
import java.net.URISyntaxException;
import java.nio.file.FileSystem;
import java.nio.file.FileSystems;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Comparator;
import java.util.List;
import java.util.Map;
import java.util.stream.IntStream;
import java.util.stream.Stream;

/** A native method of a peer class. All of them are found by looking, so that a new one needs no entry anywhere. */
record PeerMethod(Method method) {
    /** All native methods, by class and name. */
    static List<PeerMethod> all() {
        return peerClasses().stream().flatMap(peer -> Arrays.stream(peer.getDeclaredMethods()))
                .filter(method -> Modifier.isNative(method.getModifiers())).map(PeerMethod::new)
                .sorted(Comparator.comparing(PeerMethod::name)).toList();
    }

    /** Of this name, which exists. */
    static PeerMethod named(String name) {
        return all().stream().filter(known -> known.name().equals(name)).findFirst().orElseThrow();
    }

    /** Another method of its class. */
    PeerMethod sibling(String other) {
        return named(method.getDeclaringClass().getSimpleName() + "." + other);
    }

    /** Class and method, joined by a dot. */
    String name() {
        return method.getDeclaringClass().getSimpleName() + "." + method.getName();
    }

    /** Null when the method is no command. */
    ConsoleCommand command() {
        return method.getAnnotation(ConsoleCommand.class);
    }

    ConsoleCommand.Form form() {
        return command() == null ? ConsoleCommand.Form.CODE : command().form();
    }

    /** Whether the integer is the status of a command that it ran. */
    boolean answersStatus() {
        return form() == ConsoleCommand.Form.WAIT_STATUS || form() == ConsoleCommand.Form.EXIT_CODE;
    }

    boolean runsOnlyCommands() {
        return answersStatus() || command() != null && command().runsOnlyCommands();
    }

    /** The codes that are its own, then those that it shares with its class. */
    List<OwnCode> ownCodes() {
        if (command() == null) {
            return List.of();
        }
        boolean shares = command().shares() && method.getReturnType() == int.class;
        List<OwnCode> own = List.of(command().own());
        Stream<OwnCode> shared = (shares ? sharedCodes() : List.<OwnCode>of()).stream().filter(code ->
                IntStream.concat(IntStream.of(command().codes()), own.stream().mapToInt(OwnCode::code))
                        .noneMatch(known -> known == code.code()));
        return Stream.concat(own.stream(), shared).toList();
    }

    /** The codes of its class. */
    List<OwnCode> sharedCodes() {
        OwnCodes all = method.getDeclaringClass().getAnnotation(OwnCodes.class);
        return all == null ? List.of() : List.of(all.value());
    }

    List<Parameter> parameters() {
        return List.of(method.getParameters());
    }

    boolean fillsList() {
        return parameters().stream().anyMatch(PeerMethod::isList);
    }

    /** Whether it is a list that the method fills. */
    static boolean isList(Parameter parameter) {
        return parameter.getType() == ArrayList.class && describe(parameter) == null;
    }

    /** The method of the class that must have answered true before this one; null when there is none. */
    PeerMethod opener() {
        return Arrays.stream(method.getDeclaringClass().getDeclaredMethods()).map(PeerMethod::new)
                .filter(other -> other.command() != null && other.command().opens() && !other.equals(this))
                .findFirst().orElse(null);
    }

    /** The description of an argument, its own or that of the annotation it shares; null when it has none. */
    static Arg describe(Parameter parameter) {
        for (Annotation annotation : parameter.getAnnotations()) {
            Arg shared = annotation.annotationType().getAnnotation(Arg.class);
            if (annotation instanceof Arg || shared != null) {
                return shared == null ? (Arg) annotation : shared;
            }
        }
        return null;
    }

    private static List<Class<?>> peerClasses() {
        Package peers = NativeLibrary.class.getPackage();
        List<Class<?>> classes = new ArrayList<>();
        for (String file : filesOf("/" + peers.getName().replace('.', '/'))) {
            if (file.endsWith(".class") && !file.contains("$")) {
                classes.add(load(peers.getName() + "." + file.substring(0, file.length() - ".class".length())));
            }
        }
        return classes;
    }

    // Without running the class's static part, which would load the library.
    private static Class<?> load(String name) {
        try {
            return Class.forName(name, false, PeerMethod.class.getClassLoader());
        } catch (ClassNotFoundException e) {
            throw new IllegalStateException(e);
        }
    }

    private static List<String> filesOf(String folder) {
        try {
            URI home = NativeLibrary.class.getProtectionDomain().getCodeSource().getLocation().toURI();
            if (Files.isDirectory(Path.of(home))) {
                return namesIn(Path.of(home).resolve(folder.substring(1)));
            }
            try (FileSystem jar = FileSystems.newFileSystem(URI.create("jar:" + home), Map.of())) {
                return namesIn(jar.getPath(folder));
            }
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        } catch (URISyntaxException e) {
            throw new IllegalStateException(e);
        }
    }

    private static List<String> namesIn(Path folder) throws IOException {
        try (Stream<Path> files = Files.list(folder)) {
            return files.map(file -> file.getFileName().toString()).sorted().toList();
        }
    }
}
