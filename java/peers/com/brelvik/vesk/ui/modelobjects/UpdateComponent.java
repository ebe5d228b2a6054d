package com.brelvik.vesk.ui.modelobjects;

import java.util.Collection;

/** What component updates bring, in the order of selections and version lists. The number 7 is not given out. */
public enum UpdateComponent implements Coded {
    VIRUS_PATTERN(0),
    SPYWARE_PATTERN(1),
    SPAM_PATTERN(2),
    PHISHING_PATTERN(3),
    EXPLOIT_PATTERN(4),
    VIRUS_ENGINE(5),
    SPAM_ENGINE(6),
    FILE_TYPE_RULES(8),
    CONTENT_DICTIONARY(9),
    REPUTATION_RULES(10);

    private final int code;

    UpdateComponent(int code) {
        this.code = code;
    }

    /** The update type. */
    @Override
    public int code() {
        return code;
    }

    /**
     * @param chosen components to select
     * @return the selection as the native methods read it: a 1 at the position of each chosen component, else a 0
     */
    public static String selection(Collection<UpdateComponent> chosen) {
        StringBuilder positions = new StringBuilder();
        for (UpdateComponent component : values()) {
            positions.append(chosen.contains(component) ? '1' : '0');
        }
        return positions.toString();
    }
}
