package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.ResultCode;
import com.brelvik.vesk.ui.modelobjects.jni.ConsoleCommand.Form;
import com.brelvik.vesk.ui.modelobjects.jni.OwnCode;
import java.util.stream.IntStream;

/**
 * What an integer means: the same for all methods, or something of its own in one.
 *
 * @param name null for the status of a command
 */
record Meaning(int code, String name, ResultCode.Kind kind, String text, String causes, String cures) {
    /** Null for a number that is no code of the method; a null method has none of its own. */
    static Meaning of(PeerMethod method, int code) {
        Meaning own = own(method, code);
        if (code < 0 && method != null && method.form() == Form.UNTOLD) {
            return untold(code, -code + (code == -1 ? " agent was" : " agents were"));
        }
        ResultCode shared = ResultCode.of(code);
        if (own != null || isStatus(method, code)) {
            return own != null ? own : ofStatus(method, code);
        }
        return shared == null ? null : of(shared);
    }

    /** Of all codes that count agents below zero. */
    static Meaning untold() {
        return untold(-1, "n agents were");
    }

    private static Meaning untold(int code, String agents) {
        return new Meaning(code, "NOT_ALL_TOLD", ResultCode.Kind.FAILED, agents + " not told", "",
                "read the log: it names each agent and the reason; try 'agent test' with one of them");
    }

    /** The exit code of the command that the method ran, or null when the code tells none. */
    static Integer exit(PeerMethod method, int code) {
        Form form = method.form();
        boolean hasExit = form == Form.EXIT_CODE || form == Form.WAIT_STATUS && code >= 0 && (code & 127) == 0;
        boolean isStatus = hasExit && (code == 0 || isStatus(method, code));
        return !isStatus ? null : form == Form.EXIT_CODE ? code : Integer.valueOf(code >> 8);
    }

    // Where an integer is a status, only the codes that the method has by itself come first.
    private static boolean isStatus(PeerMethod method, int code) {
        return method != null && method.answersStatus()
                && IntStream.of(method.command().codes()).noneMatch(known -> known == code);
    }

    private static Meaning ofStatus(PeerMethod method, int code) {
        Integer exit = exit(method, code);
        String text = code == -1 ? "no shell could be started"
                : exit == null ? "the command was ended by signal " + (code & 127)
                : "the command ended with exit code " + exit + switch (exit) {
                    case 126 -> ": it may not be run";
                    case 127 -> ": it is not there";
                    case 255 -> method.form() == Form.EXIT_CODE ? ", or no shell could be started" : "";
                    default -> "";
                };
        return new Meaning(code, null, ResultCode.Kind.FAILED, text, "",
                "read what the command itself said; the head of its script explains its exit codes");
    }

    /** The same, for codes that are the method's own. */
    static Meaning own(PeerMethod method, int code) {
        return method == null ? null : method.ownCodes().stream().filter(own -> own.code() == code).findFirst()
                .map(Meaning::of).orElse(null);
    }

    static Meaning of(OwnCode own) {
        return new Meaning(own.code(), own.name(), own.kind(), own.meaning(), "", own.cures());
    }

    static Meaning of(ResultCode known) {
        return new Meaning(known.code(), known.name(), known.kind(), known.meaning(), known.causes(), known.cures());
    }

    /** The code with its name and meaning. */
    static String describe(PeerMethod method, int code) {
        Meaning known = of(method, code);
        return known == null ? code + ", which is no result code" : known.toString();
    }

    Status status() {
        return switch (kind) {
            case DONE -> Status.DONE;
            case NO -> Status.NO;
            case REFUSED -> Status.REFUSED;
            case FAILED -> Status.FAILED;
        };
    }

    @Override
    public String toString() {
        return code + (name == null ? ": " : " " + name + ", ") + text;
    }
}
