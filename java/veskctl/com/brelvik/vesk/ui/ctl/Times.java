package com.brelvik.vesk.ui.ctl;

import java.time.DateTimeException;
import java.time.Instant;
import java.time.LocalDateTime;
import java.time.ZoneId;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** Points in time as people give them. */
final class Times {
    static final String HELP = "YYYY-MM-DD, with hh:mm or hh:mm:ss behind it if wanted, in the time of this machine; "
            + "or how long ago, as 90s, 30m, 2h or 7d";
    private static final Pattern AGO = Pattern.compile("(\\d{1,9})([smhd])");
    private static final Map<String, Integer> UNITS = Map.of("s", 1, "m", 60, "h", 3600, "d", 86_400);

    private Times() {}

    /**
     * Seconds since the epoch, 0 for a text that is null.
     *
     * @throws Refusal when the text is no time that the native side can hold
     */
    static int seconds(String name, String text) {
        if (text == null) {
            return 0;
        }
        Matcher ago = AGO.matcher(text);
        long seconds = ago.matches()
                ? Instant.now().getEpochSecond() - Long.parseLong(ago.group(1)) * UNITS.get(ago.group(2))
                : moment(name, text);
        if (seconds < 1 || seconds > Integer.MAX_VALUE) {
            throw new Refusal(Status.REFUSED, name + ": " + text + " is out of range", "give a time from 1970 to 2037");
        }
        return (int) seconds;
    }

    private static long moment(String name, String text) {
        try {
            if (text.matches("\\d{4}-\\d\\d-\\d\\d([ T]\\d\\d:\\d\\d(:\\d\\d)?)?")) {
                String whole = text.length() == 10 ? text + "T00:00" : text.replace(' ', 'T');
                return LocalDateTime.parse(whole).atZone(ZoneId.systemDefault()).toEpochSecond();
            }
        } catch (DateTimeException e) {
            // Told below.
        }
        throw new Refusal(Status.REFUSED, name + ": '" + text + "' is no time", "give " + HELP);
    }
}
