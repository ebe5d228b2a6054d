package com.brelvik.vesk.ui.modelobjects.jni;

import com.brelvik.vesk.ui.modelobjects.ResultCode;

/**
 * The end-user quarantine. May be called from several threads, after {@link #init_euq_lib}. The methods that start,
 * stop or switch something return 0 or one of these codes: 1 the library is not initialised, 2 bad argument, 3 area not
 * registered, 4 a job runs, 5 database failure, 6 the job's process did not start, 7 not enabled, 8 no job to cancel,
 * 11 the area still holds messages, 12 all areas are registered. Results of jobs are 0, 5, 6, 9 cancelled or 10
 * interrupted.
 */
@OwnCodes({@OwnCode(code = 1, name = "NOT_READY", kind = ResultCode.Kind.FAILED,
                meaning = "the store of the quarantine is not open",
                cures = "read the log: it tells why 'euq init' failed"),
        @OwnCode(code = 2, name = "BAD_ARGUMENT", kind = ResultCode.Kind.REFUSED,
                meaning = "a name that is empty or too long, or no such area",
                cures = "give a name of 1 to 255 bytes, an area from 1 to 9"),
        @OwnCode(code = 3, name = "NOT_REGISTERED", kind = ResultCode.Kind.REFUSED,
                meaning = "the area is not registered", cures = "register it first with 'euq register'"),
        @OwnCode(code = 4, name = "BUSY", kind = ResultCode.Kind.FAILED,
                meaning = "a job runs", cures = "wait for its end, or end a transfer with 'euq cancel'"),
        @OwnCode(code = 5, name = "DATABASE", kind = ResultCode.Kind.FAILED,
                meaning = "the store could not do it",
                cures = "read the log; see that data/euq has room and is this account's"),
        @OwnCode(code = 6, name = "NOT_STARTED", kind = ResultCode.Kind.FAILED,
                meaning = "the job's process could not be started",
                cures = "see that bin/euqjob is there and may be run"),
        @OwnCode(code = 7, name = "NOT_ENABLED", kind = ResultCode.Kind.FAILED,
                meaning = "the quarantine is switched off", cures = "switch it on with 'euq on'"),
        @OwnCode(code = 8, name = "NO_JOB", kind = ResultCode.Kind.NO,
                meaning = "no transfer runs", cures = "see 'euq status' for how the last one ended"),
        @OwnCode(code = 9, name = "CANCELLED", kind = ResultCode.Kind.NO,
                meaning = "the job was cancelled; what it did stays done",
                cures = "start it again: it goes on with what is left"),
        @OwnCode(code = 10, name = "INTERRUPTED", kind = ResultCode.Kind.FAILED,
                meaning = "the job's process died; no message was harmed",
                cures = "start it again: it goes on with what is left"),
        @OwnCode(code = 11, name = "NOT_EMPTY", kind = ResultCode.Kind.REFUSED,
                meaning = "the area still holds messages",
                cures = "move them with 'euq transfer' or delete them with 'euq remove'"),
        @OwnCode(code = 12, name = "NO_AREA", kind = ResultCode.Kind.REFUSED,
                meaning = "all nine areas are registered", cures = "give one back with 'euq unregister'")})
public final class EuqJNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Opens the quarantine's store, making it if need be.
     *
     * @return whether it is open
     */
    @ConsoleCommand(group = "euq", name = "init", help = "Open the store of the quarantine, making it if need be.",
            codes = {}, opens = true,
            own = {@OwnCode(code = 1, name = "OPEN", kind = ResultCode.Kind.DONE, meaning = "the store is open"),
                    @OwnCode(code = 0, name = "NOT_OPEN", kind = ResultCode.Kind.FAILED,
                            meaning = "the store of the quarantine cannot be opened",
                            cures = "read the log; see that data below VESK_HOME is this account's")})
    public native boolean init_euq_lib();

    /**
     * Switches the quarantine on, for good.
     *
     * @return 0 or a code
     */
    @ConsoleCommand(group = "euq", name = "on", help = "Switch the quarantine on.", codes = 0)
    public native int enableEuq();

    /**
     * Switches it off, for good.
     *
     * @return 0 or a code
     */
    @ConsoleCommand(group = "euq", name = "off", help = "Switch the quarantine off.", codes = 0)
    public native int disableEuq();

    /**
     * Has whoever serves the quarantine take it up again.
     *
     * @return 0 or a code; 7 when the quarantine is off
     */
    @ConsoleCommand(group = "euq", name = "restart", help = "Have whoever serves it take it up again.", codes = 0)
    public native int restartEuq();

    /**
     * @return whether the quarantine is switched on
     */
    @ConsoleCommand(group = "euq", name = "status", help = "Show switches and jobs.", codes = {})
    public native boolean isEuqEnable();

    /**
     * Switches the upkeep of distribution lists on.
     *
     * @return 0 or a code
     */
    @ConsoleCommand(group = "euq", name = "dl-on", help = "Switch the upkeep of distribution lists on.", codes = 0)
    public native int enableDlMaintain();

    /**
     * Switches it off.
     *
     * @return 0 or a code
     */
    @ConsoleCommand(group = "euq", name = "dl-off", help = "Switch the upkeep of distribution lists off.", codes = 0)
    public native int disableDlMaintain();

    /**
     * @return whether the upkeep is switched on
     */
    @ConsoleCommand(group = "euq", name = "dl-status", help = "Is the upkeep of distribution lists on?", codes = {})
    public native boolean isDlMaintainEnable();

    /**
     * Registers an area for a scanner's messages; it gets the lowest free number from 1 to 9.
     *
     * @param name the scanner, 1 to 255 bytes; about as many bytes are not given back until the process ends
     * @return 0 or a code
     */
    @ConsoleCommand(group = "euq", name = "register", help = "Register an area for a scanner's messages.", codes = 0)
    public native int registEuq(
            @Arg(name = "NAME", help = "The scanner", from = Arg.Source.POSITION) String name);

    /**
     * Gives an empty area back.
     *
     * @param area its number; 0 for all
     * @return 0 or a code
     */
    @ConsoleCommand(group = "euq", name = "unregister", help = "Give an empty area back.", codes = 0)
    public native int unregistEuq(@Arg(name = "AREA", help = "Its number, 1 to 9; 0 for all",
            from = Arg.Source.POSITION, least = 0, upTo = 9) int area);

    /**
     * Starts moving all messages to one area; a process of its own does it.
     *
     * @param area its number
     * @return 0 or a code
     */
    @ConsoleCommand(group = "euq", name = "transfer", help = "Move all messages to one area.",
            codes = 0, done = "the job has started")
    public native int transferEuqData(@Arg(name = "AREA", help = "Its number, 1 to 9",
            from = Arg.Source.POSITION, upTo = 9) int area);

    /**
     * Ends the transfer; what was moved stays moved.
     *
     * @return 0 or a code
     */
    @ConsoleCommand(group = "euq", name = "cancel", help = "End the transfer; what was moved stays moved.", codes = 0)
    public native int cancelTransferEuqData();

    /**
     * @return whether a transfer runs
     */
    @ConsoleCommand(group = "euq", name = "transferring", help = "Does a transfer run?", codes = {})
    public native boolean isTransferringEuqData();

    /**
     * Tells how the last transfer ended. Once told, the result stays until this process starts the next.
     *
     * @return its code, -1 while there is none
     */
    @ConsoleCommand(group = "euq", name = "transfer-result", help = "How did the last transfer end?", codes = 0,
            own = @OwnCode(code = -1, name = "NO_RESULT", kind = ResultCode.Kind.NO,
                    meaning = "there was no transfer, or it still runs", cures = "see 'euq status'"))
    public native int getTransferEuqResult();

    /**
     * @return the same as a text, empty while there is none
     */
    @ConsoleCommand(group = "euq", name = "transfer-text", help = "How did the last transfer end, in words?",
            codes = {},
            empty = "there was no transfer, or it still runs")
    public native String getTransferEuqResult_s();

    /**
     * Starts deleting the messages of all areas; a process of its own does it.
     *
     * @return 0 or a code
     */
    @ConsoleCommand(group = "euq", name = "remove", help = "Delete the messages of all areas.",
            codes = 0, done = "the job has started")
    public native int removeEuqData();

    /**
     * @return whether a removal runs
     */
    @ConsoleCommand(group = "euq", name = "removing", help = "Does a removal run?", codes = {})
    public native boolean isRemovingEuqData();

    /**
     * Tells how the last removal ended, as {@link #getTransferEuqResult} does.
     *
     * @return its code, -1 while there is none
     */
    @ConsoleCommand(group = "euq", name = "remove-result", help = "How did the last removal end?", codes = 0,
            own = @OwnCode(code = -1, name = "NO_RESULT", kind = ResultCode.Kind.NO,
                    meaning = "there was no removal, or it still runs", cures = "see 'euq status'"))
    public native int getRemoveEuqResult();

    /**
     * @return the same as a text, empty while there is none
     */
    @ConsoleCommand(group = "euq", name = "remove-text", help = "How did the last removal end, in words?", codes = {},
            empty = "there was no removal, or it still runs")
    public native String getRemoveEuqResult_s();
}
