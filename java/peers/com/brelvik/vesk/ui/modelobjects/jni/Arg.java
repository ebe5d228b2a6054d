package com.brelvik.vesk.ui.modelobjects.jni;

import com.brelvik.vesk.ui.modelobjects.Coded;
import java.lang.annotation.ElementType;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;

/**
 * Describes an argument of a {@link ConsoleCommand}. Arguments that many methods share have an annotation of their own,
 * which carries this one. An argument without a description is passed as an empty list or null.
 */
@Retention(RetentionPolicy.RUNTIME)
@Target({ElementType.PARAMETER, ElementType.ANNOTATION_TYPE})
public @interface Arg {
    /** Where the value comes from. */
    enum Source {
        /** The option {@code --name}. */
        OPTION,
        /** The command line, by position. */
        POSITION,
        /** A prompt, a file or a variable: never the command line. */
        SECRET,
        /** A file or standard input: never the command line. */
        INPUT,
        /** No place of its own: the command makes it of what it was given. */
        IMPLIED
    }

    /**
     * What a text may look like. The native side passes most texts to a shell as they are, so that the command line
     * checks them first.
     */
    enum Shape {
        TEXT, HOST_NAME, HOST, IPV4, IPV4_MASK, IPV6, IPV6_NETWORK, PREFIX_LENGTH, DEVICE, ZONE, ZONE_WORD, DATE_TIME,
        FILE, FILE_WORD, POSTFIX_KEY, POSTFIX_VALUE, WORD, REQUEST_WORD, AGENT_HOST, AGENT_ADDRESS, AGENT_URL,
        SERVER_URL, ASCII
    }

    String name();

    String help();

    Source from() default Source.OPTION;

    /** The value when none is given; without one the argument is required. A boolean is false. */
    String fallback() default REQUIRED;

    /** Names for the integers of the argument. */
    Class<? extends Coded> words() default Coded.class;

    Shape shape() default Shape.TEXT;

    /** Whether an empty text is fit in spite of the shape, because it takes a setting away. */
    boolean orEmpty() default false;

    /**
     * The most bytes of UTF-8 that the native side reads, which cuts a longer text without notice, or that the shape
     * allows because the command behind it takes no more.
     */
    int bytes() default Integer.MAX_VALUE;

    /** The largest integer; 0 for any integer. */
    int upTo() default 0;

    /** The smallest integer where there is a largest. */
    int least() default 1;

    /** For a password: the option that says whose it is. When that is empty there is none. */
    String account() default "bind-user";

    /** The fallback of a required argument. */
    String REQUIRED = "\0";
}
