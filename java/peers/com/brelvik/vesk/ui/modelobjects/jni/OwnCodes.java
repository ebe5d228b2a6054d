package com.brelvik.vesk.ui.modelobjects.jni;

import java.lang.annotation.ElementType;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;

/**
 * The codes that the integers of a peer's methods share. They do not count for a method that names such a code itself,
 * nor for one that answers with a plain number.
 */
@Retention(RetentionPolicy.RUNTIME)
@Target(ElementType.TYPE)
public @interface OwnCodes {
    OwnCode[] value();
}
