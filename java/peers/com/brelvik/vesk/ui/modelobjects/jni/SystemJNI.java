package com.brelvik.vesk.ui.modelobjects.jni;

import com.brelvik.vesk.ui.modelobjects.ResultCode;

/**
 * Processes. May be called from several threads.
 */
public final class SystemJNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Tells whether a process runs and may be signalled.
     *
     * @param pid its number; 0 and negative numbers stand for groups, as they do for the kernel
     * @return 0 it does, -1 it does not, or belongs to another user
     */
    @ConsoleCommand(group = "host", name = "running", help = "Does a process run?", codes = 0,
            own = @OwnCode(code = -1, name = "NOT_RUNNING", kind = ResultCode.Kind.NO,
                    meaning = "no such process, or it belongs to another user"))
    public native int processRunning(@Arg(name = "PID", help = "Number of the process, 1 and up",
            from = Arg.Source.POSITION, upTo = Integer.MAX_VALUE)
            int pid);

    /**
     * Tells the number of the process that hosts the console.
     *
     * @return the number
     */
    @ConsoleCommand(group = "host", name = "pid", help = "Show the number of this process.", codes = {},
            form = ConsoleCommand.Form.NUMBER)
    public native int getPID();
}
