package com.brelvik.vesk.ui.modelobjects.jni;

import java.lang.annotation.ElementType;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;

/**
 * Says what a native method puts into a list. Several names are those of its elements, each a text of its own; one name
 * is that of all elements, where another list of the method has what belongs to each of them.
 */
@Retention(RetentionPolicy.RUNTIME)
@Target(ElementType.PARAMETER)
public @interface Fills {
    String[] value();
}
