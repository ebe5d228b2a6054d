package com.brelvik.vesk.ui.modelobjects;

/** The directory servers whose schema the appliance knows; any other value is served as {@link #GENERIC}. */
public enum LdapVendor implements Coded {
    /** Any server with the RFC 2307 and RFC 4519 schema. */
    GENERIC(0),
    OPENLDAP(1),
    ACTIVEDIRECTORY(2),
    DS389(3);

    private final int code;

    LdapVendor(int code) {
        this.code = code;
    }

    @Override
    public int code() {
        return code;
    }
}
