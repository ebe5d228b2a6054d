package com.brelvik.vesk.ui.modelobjects;

/** How an account proves itself to a directory server; with any other value connecting fails. */
public enum AuthType implements Coded {
    /** Name and password in a simple bind. */
    SIMPLE(0),
    /** A Kerberos ticket, got with name and password, through SASL/GSSAPI. */
    KERBEROS(1);

    private final int code;

    AuthType(int code) {
        this.code = code;
    }

    @Override
    public int code() {
        return code;
    }
}
