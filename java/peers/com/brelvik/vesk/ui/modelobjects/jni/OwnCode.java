package com.brelvik.vesk.ui.modelobjects.jni;

import com.brelvik.vesk.ui.modelobjects.ResultCode;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;

/** A code that means something of its own in one method, or that only one method has. */
@Retention(RetentionPolicy.RUNTIME)
@Target({})
public @interface OwnCode {
    int code();

    /** In the manner of {@link ResultCode}'s constants. */
    String name();

    ResultCode.Kind kind();

    String meaning();

    /** What to do about it; empty where there is nothing to do. */
    String cures() default "";
}
