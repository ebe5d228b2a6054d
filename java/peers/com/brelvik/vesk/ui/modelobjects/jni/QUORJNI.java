package com.brelvik.vesk.ui.modelobjects.jni;

import com.brelvik.vesk.ui.modelobjects.ResultCode;

/** The reputation service. May be called from several threads. */
public final class QUORJNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Asks the reputation server for its status, within 4 seconds.
     *
     * @param serverAddr host, host:port or URL; at most 1023 bytes, ASCII
     * @param enableProxy 1 to go through the proxy; any other number goes directly
     * @param proxyServer name or address of the proxy; brackets are put around an IPv6 address
     * @param proxyPort its port
     * @param proxyUser account at the proxy, at most 63 bytes; empty for none
     * @param proxyPassword its password, at most 63 bytes
     * @return two numbers. The first: 0 it answered, 1 unusable address, port or text, 2 name not resolved, 3
     *     connection refused, 4 refused by the proxy, 5 TLS failed, 6 no answer in time, 7 no answer of the service, 8
     *     no memory. The second: the HTTP status or the network library's error number, 0 where there is none
     */
    @ConsoleCommand(group = "reputation", name = "check", help = "Does the reputation server answer?", codes = {},
            form = ConsoleCommand.Form.WITH_ERROR, routine = "^\\[quor Handler\\] quor server rc=\\(",
            own = {@OwnCode(code = 0, name = "ANSWERED", kind = ResultCode.Kind.DONE, meaning = "the server answered"),
                    @OwnCode(code = 1, name = "BAD_CONFIG", kind = ResultCode.Kind.REFUSED,
                            meaning = "an address, port or text that cannot be used",
                            cures = "give server and proxy in ASCII, without blanks"),
                    @OwnCode(code = 2, name = "NOT_RESOLVED", kind = ResultCode.Kind.FAILED,
                            meaning = "the name of the server, or of the proxy, was not resolved",
                            cures = "check the names and the name servers of this machine"),
                    @OwnCode(code = 3, name = "CONNECT_REFUSED", kind = ResultCode.Kind.FAILED,
                            meaning = "the connection was refused, or nothing is reached there",
                            cures = "check ports and firewalls; where only a proxy leads out, give --proxy"),
                    @OwnCode(code = 4, name = "PROXY_REFUSED", kind = ResultCode.Kind.FAILED,
                            meaning = "the proxy refused", cures = "check user and password at the proxy"),
                    @OwnCode(code = 5, name = "TLS_FAILED", kind = ResultCode.Kind.FAILED, meaning = "TLS failed",
                            cures = "check that the certificate is the server's, and ca_file in section reputation of "
                                    + "vesk.ini"),
                    @OwnCode(code = 6, name = "TIMEOUT", kind = ResultCode.Kind.FAILED,
                            meaning = "no answer within 4 seconds", cures = "look for a firewall that drops packets"),
                    @OwnCode(code = 7, name = "BAD_ANSWER", kind = ResultCode.Kind.FAILED,
                            meaning = "the answer is not that of a reputation server",
                            cures = "check the address; something else listens there"),
                    @OwnCode(code = 8, name = "NO_RESOURCES", kind = ResultCode.Kind.FAILED,
                            meaning = "no memory or no handle was left", cures = "restart the console")})
    public native int[] quorChkServerStatus(
            @Arg(name = "SERVER", help = "Host, host:port or URL", from = Arg.Source.POSITION,
                    shape = Arg.Shape.SERVER_URL, bytes = 1023) String serverAddr,
            @Arg(name = "use-proxy", help = "1 to go through the proxy", from = Arg.Source.IMPLIED) int enableProxy,
            @Arg(name = "proxy", help = "Go through this proxy, a name or an address", fallback = "",
                    shape = Arg.Shape.HOST, orEmpty = true, bytes = 1021) String proxyServer,
            @Arg(name = "proxy-port", help = "Port of the proxy", fallback = "8080", upTo = 65535) int proxyPort,
            @Arg(name = "proxy-user", help = "Account at the proxy; empty for none", fallback = "",
                    shape = Arg.Shape.ASCII, bytes = 63) String proxyUser,
            @Arg(name = "proxy-password", help = "Password of that account", from = Arg.Source.SECRET,
                    account = "proxy-user", shape = Arg.Shape.ASCII, bytes = 63) String proxyPassword);
}
