package com.brelvik.vesk.ui.ctl;

import java.io.Console;

/** Whether somebody sits there. */
final class Terminal {
    private Terminal() {}

    /** True when both standard input and output are a terminal. */
    static boolean isThere() {
        Console console = System.console();
        if (console == null) {
            return false;
        }
        try {
            // Newer VMs have a console always, and a method to ask it.
            return (Boolean) Console.class.getMethod("isTerminal").invoke(console);
        } catch (ReflectiveOperationException e) {
            return true;
        }
    }
}
