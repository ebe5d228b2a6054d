package com.brelvik.vesk.ui.modelobjects.jni;

import java.lang.annotation.ElementType;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;

/** Makes a native method a command of the console on the command line: {@code veskctl GROUP NAME}. */
@Retention(RetentionPolicy.RUNTIME)
@Target(ElementType.METHOD)
public @interface ConsoleCommand {
    String group();

    String name();

    String help();

    /** Every code of {@link com.brelvik.vesk.ui.modelobjects.ResultCode} that the method can answer with. */
    int[] codes();

    /** The codes that are this method's own. */
    OwnCode[] own() default {};

    /** What success means, where the code alone does not tell. */
    String done() default "";

    /** Part of a line that the method logs when it answers success but has failed; empty where it does not. */
    String denial() default "";

    /** The files that a success leaves in the queue of notifications, as a glob; empty where it leaves none. */
    String queues() default "";

    /** What has failed when the list stays empty; empty where that is an answer. */
    String empty() default "";
}
