package com.brelvik.vesk.ui.modelobjects.jni;

/**
 * IPv6 addresses. May be called from several threads, after {@link JniInit#initializeJNI}.
 */
public final class IPv6JNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Brings an IPv6 address into its canonical form: lower case, compressed.
     *
     * @param address the address, without a prefix length; null reads as empty
     * @return the canonical form, or the empty string when it is no such address; the log says why
     */
    @ConsoleCommand(group = "host", name = "ipv6", help = "Show an IPv6 address in its canonical form.", codes = {},
            empty = "it is no IPv6 address")
    public native String formatIPv6Addr(@Arg(name = "ADDRESS", help = "IPv6 address", from = Arg.Source.POSITION,
            shape = Arg.Shape.TEXT)
            String address);

    /**
     * Brings an IPv6 address with or without prefix length into its canonical form, the host bits cleared where there
     * is a length.
     *
     * @param address the address; null reads as empty
     * @return the canonical form, or the empty string when it is no such address; the log says why
     */
    @ConsoleCommand(group = "host", name = "ipv6-network", codes = {},
            help = "Show an IPv6 address with prefix length in its canonical form.",
            empty = "it is no IPv6 address, or its prefix length is wrong")
    public native String formatIPv6WithMask(@Arg(name = "ADDRESS", help = "IPv6 address/prefix length",
            from = Arg.Source.POSITION, shape = Arg.Shape.IPV6_NETWORK)
            String address);
}
