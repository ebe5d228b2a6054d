package com.brelvik.vesk.ui.modelobjects.jni;

import java.lang.annotation.ElementType;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;

/**
 * The codes that methods of a peer share where they answer with an int. They do not count for a method that names such
 * a code itself.
 */
@Retention(RetentionPolicy.RUNTIME)
@Target(ElementType.TYPE)
public @interface OwnCodes {
    OwnCode[] value();
}
