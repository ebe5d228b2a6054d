/** Peers of the native library, and the names of the integers that cross to it. */
module com.brelvik.vesk.ui {
    exports com.brelvik.vesk.ui.modelobjects;
    exports com.brelvik.vesk.ui.modelobjects.jni;
}
