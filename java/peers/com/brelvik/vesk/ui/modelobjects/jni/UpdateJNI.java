package com.brelvik.vesk.ui.modelobjects.jni;

import com.brelvik.vesk.ui.modelobjects.ResultCode;
import java.util.ArrayList;

/**
 * Component updates, and the cipher for texts in settings. May be called from several threads, after
 * {@link JniInit#initializeJNI}. A selection has a 1 at the position of each chosen component, in the order of
 * {@link com.brelvik.vesk.ui.modelobjects.UpdateComponent}, which also makes it.
 */
@OwnCodes(@OwnCode(code = 500, name = "UPDATE_FAILED", kind = ResultCode.Kind.FAILED,
        meaning = "a component failed, or the update engine could not be initialised",
        cures = "read the log: it names the component, the step and the reason"))
public final class UpdateJNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Decrypts a text that {@link #getEncryptStr} made.
     *
     * @param text at most 1024 bytes count; not null
     * @param list receives the plain text, or an empty one when the text is not of this appliance; not null
     * @return 0 done, 500 null argument; 508 no global reference to {@code ArrayList}, 510 class or 511 method not
     *     found
     */
    @ConsoleCommand(group = "update", name = "decrypt", help = "Decrypt a text that 'update encrypt' made.",
            codes = {0, 500, 508, 510, 511},
            empty = "nothing came of it: the text is not of this appliance, was altered, or holds nothing",
            cure = "take the text whole, on the appliance that made it; the log tells more")
    public native int getDecryptStr(
            @Arg(name = "text", help = "Text to decrypt", from = Arg.Source.SECRET, bytes = 1024) String text,
            ArrayList<String> list);

    /**
     * Encrypts a text under the key of this appliance, anew each time.
     *
     * @param text the plain text; not null
     * @param list receives at most 1024 printable characters, or an empty text when the plain one is too long for them;
     *     not null
     * @return as {@link #getDecryptStr}
     */
    @ConsoleCommand(group = "update", name = "encrypt", help = "Encrypt a text for the settings of this appliance.",
            codes = {0, 500, 508, 510, 511},
            empty = "nothing came of it: the text is too long, or there is no key",
            cure = "give a shorter text; the log tells more")
    public native int getEncryptStr(
            @Arg(name = "text", help = "Text to encrypt", from = Arg.Source.SECRET) String text,
            ArrayList<String> list);

    /**
     * Tells whether an update runs, of this process or another.
     *
     * @return 0 one does, 601 none does
     */
    @ConsoleCommand(group = "update", name = "running", help = "Does an update run?", codes = {0, 601},
            shares = false)
    public native int isRunning();

    /**
     * Updates components, one after the other. One that fails does not keep the next from being updated.
     *
     * @param source who asks, for the event log
     * @param selection the components
     * @param versions receives the version in use afterwards of each selected component, empty when there is none; not
     *     null
     * @return 0 at least one was updated and none failed, 600 all are up to date, 500 one failed, an empty selection,
     *     null argument or an engine that could not be initialised
     */
    @ConsoleCommand(group = "update", name = "run", help = "Update components.", codes = {0, 600})
    public native int manualUpdate(
            @Arg(name = "source", help = "Who asks, a whole number for the event log", fallback = "0") int source,
            @Arg(name = "COMPONENTS", help = "A 1 for each that is wanted, else a 0", from = Arg.Source.IMPLIED)
            String selection,
            ArrayList<String> versions);

    /**
     * Lists what the update source has.
     *
     * @param listA receives a version for each component that the source has; not null
     * @param listB receives their names, in the same order; not null
     * @return 0 (with empty lists when the source cannot be read), 500 null argument or no engine
     */
    @ConsoleCommand(group = "update", name = "available", help = "Show what the update source has.", codes = 0,
            empty = "the source has nothing, or cannot be read",
            cure = "look at source, ca_file and key_file in section update of vesk.ini; the log tells more")
    public native int getAvailVersion(@Fills("version") ArrayList<String> listA,
            @Fills("component") ArrayList<String> listB);

    /**
     * Lists what is in use.
     *
     * @param listA receives ten versions, an empty one for a component that is not installed; not null
     * @param listB receives the ten names; not null
     * @return 0, 500 null argument or no engine
     */
    @ConsoleCommand(group = "update", name = "versions",
            help = "Show the versions in use, and those that the source has.", codes = 0)
    public native int getCurrentVersion(@Fills("version") ArrayList<String> listA,
            @Fills("component") ArrayList<String> listB);

    /**
     * Takes components back to the version before.
     *
     * @param source who asks, for the event log
     * @param selection the components
     * @param results receives SUCCESS, ROLLBACK_UNAVAILABLE or FAIL for each selected component; not null
     * @return 0 all were taken back, 500 one was not, an empty selection, null argument or no engine
     */
    @ConsoleCommand(group = "update", name = "rollback", help = "Take components back to the version before.",
            codes = 0)
    public native int rollback(
            @Arg(name = "source", help = "Who asks, a whole number for the event log", fallback = "0") int source,
            @Arg(name = "COMPONENTS", help = "A 1 for each that is wanted, else a 0", from = Arg.Source.IMPLIED)
            String selection,
            ArrayList<String> results);
}
