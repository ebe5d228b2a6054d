package com.brelvik.vesk.ui.modelobjects.jni;

import com.brelvik.vesk.ui.modelobjects.ResultCode;

/**
 * Sign-on from the central console. May be called from several threads; the console whose session was accepted last
 * counts for all of them.
 */
public final class CorsaJNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Tells whether a session comes from a central console that this appliance is registered with. One that has expired
     * does, too.
     *
     * @param sessionData the session: a signed token in compact form; the log has it at level DIAGNOSTIC
     * @return 0 it does, 513 no console is registered or the database is down; else why it does not come from the last
     *     of them: -2 for another appliance, -3 not signed by it, -4 no signed session, -5 wrong claims, or answered
     *     already, -6 issued by another console, -7 the public key cannot be used or the text is empty
     */
    @ConsoleCommand(group = "signon", name = "check", help = "Does a session come from our central console?",
            codes = {0, 513}, done = "it comes from a central console of ours, be it expired or not",
            own = {@OwnCode(code = -2, name = "WRONG_DESTINATION", kind = ResultCode.Kind.NO,
                    meaning = "the session is for another appliance",
                    cures = "compare its aud with audience in section signon of vesk.ini"),
                    @OwnCode(code = -3, name = "INVALID_SOURCE", kind = ResultCode.Kind.NO,
                            meaning = "the session is not signed by the central console",
                            cures = "compare config/SSO_PKI_PublicKey.pem with the console's key"),
                    @OwnCode(code = -4, name = "DECRYPT_FAILED", kind = ResultCode.Kind.NO,
                            meaning = "it is no signed session", cures = "take the session whole, in compact form"),
                    @OwnCode(code = -5, name = "WRONG_SESSION", kind = ResultCode.Kind.NO,
                            meaning = "a claim is missing or wrong, or the session was answered already",
                            cures = "let the console issue a new one; compare the clocks of both machines"),
                    @OwnCode(code = -6, name = "WRONG_GUID", kind = ResultCode.Kind.NO,
                            meaning = "the session is of a console that this appliance is not registered with",
                            cures = "register the appliance with that console"),
                    @OwnCode(code = -7, name = "WRONG_ARGUMENTS", kind = ResultCode.Kind.REFUSED,
                            meaning = "the session is empty, or config/SSO_PKI_PublicKey.pem cannot be used",
                            cures = "put the console's public key there: RSA of 2048 bits or more, or EC on P-256")})
    public native int isSessionFromCORSA(
            @Arg(name = "session", help = "The session", from = Arg.Source.INPUT) String sessionData);

    /**
     * Answers the session that {@link #isSessionFromCORSA} accepted last, once.
     *
     * @param sessionData the same session
     * @return the answer, at most 255 characters; empty when there is none: the session has expired, was answered
     *     before, or none was accepted
     */
    @ConsoleCommand(group = "signon", name = "answer", help = "Check a session and answer it, once.", codes = {},
            empty = "the session has expired or was answered before")
    public native String CreateReponse(
            @Arg(name = "session", help = "The session", from = Arg.Source.INPUT) String sessionData);
}
