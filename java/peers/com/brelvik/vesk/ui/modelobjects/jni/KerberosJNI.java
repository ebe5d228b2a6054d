package com.brelvik.vesk.ui.modelobjects.jni;

import java.util.ArrayList;

/** Kerberos keys of the appliance. May be called from several threads. */
public final class KerberosJNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Reads the service principal that a keytab file holds, such as {@code HTTP/gate.example.com@EXAMPLE.COM}. When it
     * holds several, the newest counts.
     *
     * @param keytabPath full path of the file; not null. About as many bytes as it has are not given back, until the
     *     process ends
     * @param resultList receives the one name, or nothing when the file cannot be read or has no service principal (the
     *     log says which), cut at 1023 bytes; not null. A list whose {@code add} refuses gives 0 all the same, and when
     *     {@code add} throws, the method throws the same
     * @return 0 done (also without a principal), 500 null argument; 501 out of memory; 508 no global reference to
     *     {@code ArrayList}, 510 class or 511 method not found
     */
    @ConsoleCommand(group = "kerberos", name = "spn", help = "Show the service principal of a keytab file.",
            codes = {0, 500, 501, 508, 510, 511}, empty = "the file gives no service principal")
    public native int getSpnFromKeytab(
            @Arg(name = "FILE", help = "Keytab file", from = Arg.Source.POSITION) String keytabPath,
            ArrayList<String> resultList);
}
