package com.brelvik.vesk.ui.modelobjects.jni;

import com.brelvik.vesk.ui.modelobjects.ResultCode;
import java.util.ArrayList;

/**
 * The mail server's settings, through Postfix's own tools, which are found through the search path of the console's
 * process. Values reach the shell as they are. May be called from several threads, after
 * {@link JniInit#initializeJNI}.
 */
public final class PostfixJNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Makes Postfix read its settings again. Whether it did is not told.
     *
     * @return 0; 100 no command line
     */
    @ConsoleCommand(group = "postfix", name = "reload", runsOnlyCommands = true,
            help = "Make Postfix read its settings again.",
            codes = {0, 100}, done = "asked for; whether Postfix did it is not told")
    public native int postfixReload();

    /**
     * Tells whether Postfix's tools are on the search path.
     *
     * @return 0 they are, 102 they are not, 100 no command line, 101 not started
     */
    @ConsoleCommand(group = "postfix", name = "exists", help = "Is Postfix there?",
            codes = {0, 100, 101, 102})
    public native int isPostfixExist();

    /**
     * Compiles a look-up table. Whether it could is not told.
     *
     * @param file source of the table; not null. The shell sees it without quotes: the caller checks it
     * @return 0; 100 no command line, 500 null argument
     */
    @ConsoleCommand(group = "postfix", name = "postmap", runsOnlyCommands = true, room = 1015,
            help = "Compile a look-up table.",
            codes = {0, 100, 500}, done = "asked for; whether the table was compiled is not told")
    public native int postmap(@Arg(name = "FILE", help = "Source of the table", from = Arg.Source.POSITION,
            shape = Arg.Shape.FILE_WORD)
            String file);

    /**
     * Tells whether a parameter is set explicitly. One that is hidden by a longer name printed before it counts as not
     * set.
     *
     * @param key name of the parameter; not null. The shell sees it inside double quotes, and grep as a pattern:
     *     the caller checks it
     * @return 0 it is, 103 it is not, 100 no command line, 101 not started, 500 null argument
     */
    @ConsoleCommand(group = "postfix", name = "is-set", room = 1001, help = "Is a parameter set explicitly?",
            codes = {0, 100, 101, 103, 500})
    public native int isKeyConfigured(@Arg(name = "KEY", help = "Name of the parameter", from = Arg.Source.POSITION,
            shape = Arg.Shape.POSTFIX_KEY)
            String key);

    /**
     * Reads the value of the first parameter, in the order of the alphabet, whose name begins with a key.
     *
     * @param key name of the parameter; not null. The shell sees it inside double quotes, and grep as a pattern:
     *     the caller checks it
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 no such parameter, 500 null argument, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "postfix", name = "get", room = 1004, help = "Show the value of a parameter.",
            codes = {0, 100, 101, 102, 500, 501, 503},
            own = @OwnCode(code = 102, name = "COMMAND_PRINTED_NOTHING", kind = ResultCode.Kind.NO,
                    meaning = "no parameter has a name that begins like that, or postconf is missing or failed",
                    cures = "run 'postconf | grep \"^KEY\"' by hand, with the name for KEY"))
    public native int getPostconf(@Arg(name = "KEY", help = "Name of the parameter", from = Arg.Source.POSITION,
            shape = Arg.Shape.POSTFIX_KEY)
            String key, ArrayList<String> list);

    /**
     * Sets a parameter. Whether Postfix took it is not told. The shell sees key and value inside single quotes: the
     * caller checks them.
     *
     * @param key name of the parameter; not null
     * @param value its value; not null
     * @return 0; 100 no command line, 500 null argument
     */
    @ConsoleCommand(group = "postfix", name = "set", runsOnlyCommands = true, room = 1008, help = "Set a parameter.",
            codes = {0, 100, 500}, done = "asked for; whether Postfix took it is not told, 'postfix get' shows it")
    public native int setPostconf(@Arg(name = "KEY", help = "Name of the parameter", from = Arg.Source.POSITION,
            shape = Arg.Shape.POSTFIX_KEY)
            String key, @Arg(name = "VALUE", help = "Its value", from = Arg.Source.POSITION,
            shape = Arg.Shape.POSTFIX_VALUE)
            String value);

    /**
     * Tells whether a file is a well-formed PEM certificate or private key.
     *
     * @param path the file; not null. The shell sees it without quotes: the caller checks it
     * @param isKey whether a key is expected, not a certificate
     * @return 0 it is, 105 it is not, 500 null path
     */
    @ConsoleCommand(group = "postfix", name = "check-pem", room = 492, namesHome = true,
            help = "Is a file a well-formed PEM certificate or key?", codes = {0, 105, 500})
    public native int checkPEMFormat(@Arg(name = "FILE", help = "PEM file", from = Arg.Source.POSITION,
            shape = Arg.Shape.FILE_WORD)
            String path, @Arg(name = "key", help = "Expect a private key")
            boolean isKey);

    /**
     * Makes the source of Postfix's client restriction table from connection rules, one a line: {@code 10.1.0.0/16
     * REJECT} or {@code 192.168.1.5 OK}. Lines that are neither are skipped.
     *
     * @param inputPath the rules; not null
     * @param outputPath the table, replaced when it is whole; not null. One that can only be written in place is left
     *         empty when it does not become whole
     * @return 0 done, 104 a file could not be opened, read or written (the log says which), 500 null argument
     */
    @ConsoleCommand(group = "postfix", name = "restrictions", help = "Make the client restriction table.",
            codes = {0, 104, 500})
    public native int composeClientRestrictionFile(@Arg(name = "RULES", help = "File of rules",
            from = Arg.Source.POSITION, shape = Arg.Shape.FILE)
            String inputPath, @Arg(name = "TABLE", help = "File to write", from = Arg.Source.POSITION,
            shape = Arg.Shape.FILE)
            String outputPath);

    /**
     * Kept for old consoles; writes nothing.
     *
     * @param a never read
     * @param b never read
     * @param c never read
     * @param d never read
     * @param path never read
     * @return 0
     */
    public native int exportPEMFile(String a, String b, String c, String d, String path);

    /**
     * Kept for old consoles; reads nothing.
     *
     * @param a never read
     * @param b never read
     * @param path never read
     * @return 0
     */
    public native int getPEMFile(String a, String b, String path);
}
