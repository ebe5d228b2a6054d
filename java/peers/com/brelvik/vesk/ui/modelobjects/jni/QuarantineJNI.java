package com.brelvik.vesk.ui.modelobjects.jni;

import com.brelvik.vesk.ui.modelobjects.ResultCode;
import java.util.ArrayList;

/**
 * Messages that a scanner agent holds in quarantine. May be called from several threads, after
 * {@link JniInit#initializeJNI}. Of each text given, about as many bytes as it has are not given back until the process
 * ends. The {@code _P} forms look among the messages whose delivery is postponed.
 */
@OwnCodes({@OwnCode(code = 1, name = "FETCHED", kind = ResultCode.Kind.DONE, meaning = "done"),
        @OwnCode(code = 0, name = "NOT_FETCHED", kind = ResultCode.Kind.FAILED,
                meaning = "an empty text, or the agent could not",
                cures = "try 'agent test', and read the log: it has the agent's reason")})
public final class QuarantineJNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Has the whole of a message written to a file in the agent's export folder.
     *
     * @param endpoint {@code http://host:port}; not null
     * @param reference the agent's name for the message; not null
     * @param target the file: a plain name, or a full path in the export folder; not null
     * @param archived whether the message is in the archive
     * @return 1 written, 0 a text is empty or the agent could not, 500 null argument
     */
    @ConsoleCommand(group = "quarantine", name = "export",
            help = "Have a message written to the agent's export folder.", codes = 500)
    public native int getEmail(@Agent.Endpoint String endpoint, @Agent.Reference String reference,
            @Agent.Target String target, @Agent.Archived boolean archived);

    /**
     * {@link #getEmail} for a postponed message.
     *
     * @param endpoint {@code http://host:port}; not null
     * @param reference the agent's name for the message; not null
     * @param target the file; not null
     * @return as {@link #getEmail}
     */
    @ConsoleCommand(group = "quarantine", name = "export-postponed", help = "The same for a postponed message.",
            codes = 500)
    public native int getEmail_P(@Agent.Endpoint String endpoint, @Agent.Reference String reference,
            @Agent.Target String target);

    /**
     * Fetches what the console shows of a message.
     *
     * @param endpoint {@code http://host:port}; not null
     * @param reference the agent's name for the message; not null
     * @param archived whether the message is in the archive
     * @param texts receives three texts or, on failure, none: the header (at most 2047 bytes), the beginning of the
     *     text (8192) and the attachments, a line each (512); all UTF-8 and decoded
     * @return 1 fetched, 0 a text is empty or the agent could not, 500 null argument
     */
    @ConsoleCommand(group = "quarantine", name = "show", help = "Show header, text and attachments of a message.",
            codes = 500)
    public native int getMsgHeaderOrBody(@Agent.Endpoint String endpoint, @Agent.Reference String reference,
            @Agent.Archived boolean archived, @Fills({"header", "text", "attachments"}) ArrayList<String> texts);

    /**
     * {@link #getMsgHeaderOrBody} for a postponed message; its attachments take at most 256 bytes.
     *
     * @param endpoint {@code http://host:port}; not null
     * @param reference the agent's name for the message; not null
     * @param texts receives three texts, or none
     * @return as {@link #getMsgHeaderOrBody}
     */
    @ConsoleCommand(group = "quarantine", name = "show-postponed", help = "The same for a postponed message.",
            codes = 500)
    public native int getMsgHeaderOrBody_P(@Agent.Endpoint String endpoint, @Agent.Reference String reference,
            @Fills({"header", "text", "attachments"}) ArrayList<String> texts);

    /**
     * Asks an agent to process its queues now. What becomes of it is not told.
     *
     * @param endpoint {@code http://host:port}; not null
     * @return 0 sent or not, 500 null argument
     */
    @ConsoleCommand(group = "quarantine", name = "flush", help = "Ask an agent to process its queues now.",
            codes = {0, 500}, shares = false, done = "sent; what becomes of it is not told",
            denial = "sendQueueManagerAction failed")
    public native int sendQueueManagementAction(@Agent.Endpoint String endpoint);
}
