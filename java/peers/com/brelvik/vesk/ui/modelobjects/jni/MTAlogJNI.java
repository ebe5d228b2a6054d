package com.brelvik.vesk.ui.modelobjects.jni;

import java.util.ArrayList;

/**
 * The mail transfer agent's log of a scanner. May be called from several threads, after {@link JniInit#initializeJNI}.
 */
public final class MTAlogJNI {
    static {
        NativeLibrary.load();
    }

    /** Elements of a paging block, by index. */
    public static final int PAGE_SIZE = 0;
    public static final int PAGE_COUNT = 1;
    public static final int TOTAL_COUNT = 2;
    public static final int PAGE_NUMBER = 3;
    public static final int START_TIME = 4;
    public static final int END_TIME = 5;
    public static final int INODE = 6;
    public static final int OFFSET = 7;
    public static final int YEAR = 8;
    public static final int PAGING_LENGTH = 9;

    /**
     * Fetches one page of log lines.
     *
     * @param server {@code http://host:port} of the agent; not null
     * @param keyword only lines that hold it; empty for all
     * @param mode 0 newest first, 1 oldest first
     * @param paging block of {@link #PAGING_LENGTH} numbers, replaced by the state behind the page. For the first page
     *     all are 0 but the page size, the page number 1 and, in seconds since the epoch, start and end of the time
     *     range (0 for no limit); for the next, the block as it is with the page number raised by one. When the agent
     *     fails it stays as it is
     * @param fileName empty for the first page, then the first text of the last answer; at most 127 bytes count
     * @param texts receives two texts: the log file that the page ended in, and the lines of the page
     * @return 0 also when the agent failed (the log tells, and the lines are empty), 500 the server is null or the
     *     block has another length
     */
    @ConsoleCommand(group = "mta-log", name = "page", help = "Show the mail log of a scanner, page by page.",
            codes = {0, 500}, denial = "getMTALog failed")
    public native int getMTAEventSubmit(@Agent.Endpoint String server,
            @Arg(name = "keyword", help = "Only lines that hold this text", fallback = "") String keyword,
            @Arg(name = "mode", help = "0 newest first, 1 oldest first", from = Arg.Source.IMPLIED) int mode,
            @Arg(name = "paging", help = "The block, joined by commas", from = Arg.Source.IMPLIED) int[] paging,
            @Arg(name = "file", help = "Log file that the last page ended in", from = Arg.Source.IMPLIED, bytes = 127)
            String fileName, @Fills({"file", "events"}) ArrayList<String> texts);
}
