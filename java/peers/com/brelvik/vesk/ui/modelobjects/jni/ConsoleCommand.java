package com.brelvik.vesk.ui.modelobjects.jni;

import java.lang.annotation.ElementType;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;

/** Makes a native method a command of the console on the command line: {@code veskctl GROUP NAME}. */
@Retention(RetentionPolicy.RUNTIME)
@Target(ElementType.METHOD)
public @interface ConsoleCommand {
    /** How an integer that is none of the codes is to be read. */
    enum Form {
        /** As a result code, and an unexpected one. */
        CODE,
        /** As a command's wait status: exit code times 256, or -1. */
        WAIT_STATUS,
        /** As a command's exit code, 0 to 255. */
        EXIT_CODE,
        /** As a plain number, which is the answer. */
        NUMBER,
        /** As a count of agents that were not told, below zero. */
        UNTOLD,
        /** As the first of two numbers; the second is an HTTP status or the network library's error number. */
        WITH_ERROR
    }

    String group();

    String name();

    String help();

    /** Every code of {@link com.brelvik.vesk.ui.modelobjects.ResultCode} that the method can answer with. */
    int[] codes();

    /** What the integer means beyond {@link #codes} and {@link #own}. */
    Form form() default Form.CODE;

    /**
     * Whether all that it changes is changed by commands, which can be shown and not run. It is so wherever the
     * integer is the status of one.
     */
    boolean runsOnlyCommands() default false;

    /** Whether the other methods of its class work only once this one has answered true. */
    boolean opens() default false;

    /** The codes that are this method's own. */
    OwnCode[] own() default {};

    /** Whether it can answer with the codes of its class, too. */
    boolean shares() default true;

    /** What success means, where the code alone does not tell. */
    String done() default "";

    /** A pattern in a line that the method logs when it answers success but has failed; empty where it does not. */
    String denial() default "";

    /** A pattern in a line that it logs as a failure whatever comes of the call, and which tells nothing more. */
    String routine() default "";

    /** What the failure is that leaves no line in the log; empty where each leaves one. */
    String unlogged() default "";

    /** What to do when a success was none; empty where the log says it. */
    String cure() default "";

    /**
     * The most bytes that the texts may have together, as the native side counts them; it cuts a longer command line
     * without notice. An argument alone has {@link Arg#bytes}.
     */
    int room() default Integer.MAX_VALUE;

    /** Whether the path of the install root stands in the command, without quotes: it takes some of {@link #room}. */
    boolean namesHome() default false;

    /** The files that a success leaves in the queue of notifications, as a glob; empty where it leaves none. */
    String queues() default "";

    /**
     * What has failed when the list stays empty, or why the answer is no when it is the empty text; empty where there
     * is no more to it.
     */
    String empty() default "";
}
