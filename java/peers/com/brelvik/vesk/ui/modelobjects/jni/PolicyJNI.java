package com.brelvik.vesk.ui.modelobjects.jni;

import com.brelvik.vesk.ui.modelobjects.ResultCode;

/**
 * Policy services. May be called from several threads, after {@link JniInit#initializeJNI}.
 */
public final class PolicyJNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Asks for an immediate update of the policy on all scanners. The script runs in the background; what becomes of
     * it is not told.
     *
     * @param first first argument of the script; not null. The shell sees the three texts without quotes: the
     *     caller checks them
     * @param second second argument; not null
     * @param third third argument; not null
     * @return 0 started, -1 not, 500 null argument
     */
    @ConsoleCommand(group = "policy", name = "notify", runsOnlyCommands = true, room = 212, namesHome = true,
            help = "Ask for an immediate update of the policy.", codes = {0, 500},
            done = "asked for in the background; whether the manager was reached is not told",
            own = @OwnCode(code = -1, name = "NOT_SENT", kind = ResultCode.Kind.FAILED,
            meaning = "the request was not sent", cures = "read the log for the command and its status"))
    public native int notifyUpdatePolicyNow(@Arg(name = "FIRST", help = "First argument of forceUpdate.sh",
            from = Arg.Source.POSITION, shape = Arg.Shape.REQUEST_WORD, bytes = 64)
            String first, @Arg(name = "SECOND", help = "Second argument", from = Arg.Source.POSITION,
            shape = Arg.Shape.REQUEST_WORD, bytes = 64)
            String second, @Arg(name = "THIRD", help = "Third argument", from = Arg.Source.POSITION,
            shape = Arg.Shape.REQUEST_WORD, bytes = 64)
            String third);

    /**
     * Checks a keyword expression of a content rule.
     *
     * @param keyword the expression, at most 10000 characters; what follows a U+0000 is left out; not null
     * @return 0 valid, 516 not (the log says where and why), 500 null argument
     */
    @ConsoleCommand(group = "policy", name = "keyword", help = "Check a keyword expression of a content rule.",
            codes = {0, 500, 516})
    public native int validateKeyword(
            @Arg(name = "EXPRESSION", help = "The expression", from = Arg.Source.POSITION) String keyword);
}
