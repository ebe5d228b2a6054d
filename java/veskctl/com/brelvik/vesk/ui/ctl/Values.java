package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.Coded;
import com.brelvik.vesk.ui.modelobjects.jni.Arg;
import com.brelvik.vesk.ui.modelobjects.jni.ConsoleCommand;
import java.lang.reflect.Parameter;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/** Texts of the command line as values for native methods. */
final class Values {
    private Values() {}

    /**
     * The method's arguments from texts by name; without a text an argument is an empty list or null.
     *
     * @throws Refusal when one is not fit for the method, or all together are too long
     */
    static Object[] of(PeerMethod method, Map<String, String> texts) {
        Object[] values = method.parameters().stream().map(parameter -> {
            Arg arg = PeerMethod.describe(parameter);
            String text = arg == null ? null : texts.get(arg.name());
            return PeerMethod.isList(parameter) ? new ArrayList<String>() : text == null ? null : of(parameter, text);
        }).toArray();
        checkRoom(method, values);
        return values;
    }

    /** @throws Refusal when the native side would cut the command line that it makes from the values */
    static void checkRoom(PeerMethod method, Object[] values) {
        ConsoleCommand command = method.command();
        if (command == null || command.room() == Integer.MAX_VALUE) {
            return;
        }
        String home = command.namesHome() ? InstallRoot.open().pathForShell() : "";
        int room = command.room() - nativeLength(home);
        int length = Arrays.stream(values).filter(String.class::isInstance)
                .mapToInt(text -> nativeLength((String) text)).sum();
        if (length > room) {
            throw new Refusal(Status.REFUSED, "the arguments have " + length + " bytes; the command line that the "
                    + "library makes of them has room for " + room, "give shorter ones");
        }
    }

    /**
     * The text as a value of the parameter's type.
     *
     * @throws Refusal when it is none, is not of the argument's shape, or would be cut by the native side
     */
    static Object of(Parameter parameter, String text) {
        Arg arg = PeerMethod.describe(parameter);
        Object value = unchecked(parameter, text);
        if (arg != null && value instanceof ArrayList<?> list) {
            list.forEach(element -> Shapes.check(arg, String.valueOf(element)));
        } else if (arg != null && value instanceof String) {
            Shapes.check(arg, text);
        }
        if (!parameter.getType().isPrimitive()) {
            checkLength(arg, text);
        }
        return value;
    }

    /** The same, whatever the native side makes of a text. */
    static Object unchecked(Parameter parameter, String text) {
        Arg arg = PeerMethod.describe(parameter);
        String name = arg == null ? parameter.getType().getSimpleName() : arg.name();
        Class<?> type = parameter.getType();
        if (type == int.class) {
            return integer(arg, name, text);
        }
        if (type == boolean.class) {
            return yesOrNo(name, text);
        }
        if (type == ArrayList.class) {
            return new ArrayList<>(elements(text));
        }
        if (type == int[].class) {
            return elements(text).stream().mapToInt(element -> integer(null, name, element)).toArray();
        }
        if (type != String.class && type != byte[].class) {
            throw new Refusal(Status.USAGE, name + ": no value of this type can be given on a command line", "");
        }
        return type == String.class ? text : text.getBytes(StandardCharsets.UTF_8);
    }

    /** The names that an argument's integers have. */
    static Stream<String> words(Arg arg) {
        return constants(arg).map(Values::word);
    }

    /** The name as it is written here: in lower case, with hyphens. */
    static String word(Coded constant) {
        return constant.toString().toLowerCase(Locale.ROOT).replace('_', '-');
    }

    /** What a text of several elements holds. */
    static List<String> elements(String text) {
        return text.isEmpty() ? List.of() : List.of(text.split(",", -1));
    }

    private static Stream<? extends Coded> constants(Arg arg) {
        return arg == null || arg.words() == Coded.class ? Stream.of() : Arrays.stream(arg.words().getEnumConstants());
    }

    private static int integer(Arg arg, String name, String text) {
        for (Coded word : constants(arg).toList()) {
            if (word(word).equalsIgnoreCase(text)) {
                return word.code();
            }
        }
        boolean isBounded = arg != null && arg.upTo() > 0;
        String range = isBounded ? "give a number from " + arg.least() + " to " + arg.upTo() : "";
        int value;
        try {
            value = Integer.parseInt(text);
        } catch (NumberFormatException e) {
            String known = words(arg).collect(Collectors.joining(", "));
            String what = known.isEmpty() ? "no whole number" : "no number and none of " + known;
            String number = isBounded ? range : "give a whole number";
            throw new Refusal(Status.USAGE, name + ": '" + text + "' is " + what,
                    number + (known.isEmpty() ? "" : " or one of the words"));
        }
        if (isBounded && (value < arg.least() || value > arg.upTo())) {
            throw new Refusal(Status.REFUSED, name + ": " + value + " is out of range", range);
        }
        return value;
    }

    private static boolean yesOrNo(String name, String text) {
        return switch (text) {
            case "true" -> true;
            case "false" -> false;
            default -> throw new Refusal(Status.USAGE, name + ": '" + text + "' is neither true nor false",
                    "write true or false");
        };
    }

    // The VM hands a character over in one to three bytes, one beyond U+FFFF in two halves.
    private static int nativeLength(String text) {
        return text.chars().map(c -> c == 0 ? 2 : c < 0x80 ? 1 : c < 0x800 ? 2 : 3).sum();
    }

    private static void checkLength(Arg arg, String text) {
        int length = text.getBytes(StandardCharsets.UTF_8).length;
        if (arg != null && length > arg.bytes()) {
            throw new Refusal(Status.REFUSED, arg.name() + ": " + length + " bytes, of which the library reads "
                    + arg.bytes() + " and drops the rest without notice", "give a shorter text");
        }
    }
}
