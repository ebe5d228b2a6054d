package com.brelvik.vesk.ui.modelobjects;

/** The integers that native methods answer with, with what an administrator wants to know about each. */
public enum ResultCode implements Coded {
    SUCCESS(0, Kind.DONE, "done", "", ""),

    COMMAND_NOT_FORMED(100, Kind.FAILED, "the command line could not be formed",
            "a text that the C library cannot format, or that memory has no room for",
            "report it, with the log's last lines"),
    COMMAND_NOT_STARTED(101, Kind.FAILED, "the command could not be started",
            "no free process, descriptor or memory", "look at the limits of the console's process (ulimit -a)"),
    COMMAND_PRINTED_NOTHING(102, Kind.NO, "the command printed nothing",
            "the value is not set, or the tool is missing or failed",
            "run the command that the log shows after szCmd by hand"),
    KEY_NOT_CONFIGURED(103, Kind.NO, "the parameter is not set explicitly, or a longer name hides it",
            "Postfix's own value is in use; a parameter whose name goes on behind this one is printed first",
            "look for it in the output of postconf -n"),
    FILE_NOT_OPENED(104, Kind.FAILED, "a file could not be opened, read or written",
            "a misspelt path, missing rights, a full disk", "read the log: it names the file and the reason"),
    CERTIFICATE_REJECTED(105, Kind.NO, "the file is not what it should be, or could not be verified",
            "no PEM file, a key in place of a certificate or the reverse, a key with a password",
            "run bin/pemverify -c FILE, or -k for a key, by hand: it says what is wrong"),

    CONNECTION_NOT_CREATED(200, Kind.FAILED, "the directory connection could not be made",
            "the process is out of memory", "restart the console and watch its memory"),
    CONNECT_FAILED(201, Kind.FAILED, "connecting to the directory server, or the bind that belongs to it, failed",
            "wrong host or port, nothing listens there, a firewall, TLS refused or its certificate not trusted, "
                    + "wrong bind account or password, an empty account name or password, unknown authentication type",
            "try 'directory explain', or read the log: its last line names the step (resolve, connect, TLS, bind) and "
                    + "the reason"),
    ACCOUNT_NOT_FOUND(202, Kind.NO, "no such account, or its login name could not be resolved",
            "a misspelt login name, the account lies outside the base DN, the wrong vendor",
            "search for a part of the name; check base DN and vendor"),
    BIND_REFUSED(203, Kind.NO, "the server refused this account and password",
            "a wrong or expired password, a locked account, a name that the server does not take as a login, "
                    + "an empty account name or password",
            "try the account's full DN; look at the server's log for the reason"),
    NOT_A_MEMBER(204, Kind.NO, "not a member of the group, or its groups could not be read",
            "the member is in none of the groups inside the group, a misspelt name, groups that the bind account "
                    + "may not read",
            "list the groups with 'directory browse --groups-only'; look in the log for a failed search"),
    QUERY_FAILED(205, Kind.FAILED, "the directory could not answer the query",
            "a malformed filter, missing rights, the connection was lost or timed out",
            "check the filter's parentheses; read the log's last line for the server's own words"),
    QUERY_BASE_MISSING(206, Kind.FAILED, "the base DN of the query does not exist or is malformed",
            "a misspelt base DN, the bind account may not see it", "test it with 'directory check-base'"),
    QUERY_LIMIT_EXCEEDED(207, Kind.FAILED, "a size, time or administrative limit ended the query",
            "the answer is larger than the server allows this account",
            "search for less, or raise the limit for the bind account at the server"),
    BASE_NOT_FOUND(208, Kind.NO, "the base DN does not name an entry",
            "a misspelt base DN, the bind account may not see it",
            "ask the server for its naming contexts; try the DN with a wider account"),

    AGENT_FAILED(300, Kind.FAILED, "the agent was not reached or gave a wrong answer",
            "wrong host or port, the agent is down or busy, something else listens there",
            "read the log: its last line names the reason; try 'agent test'"),

    NULL_ARGUMENT(500, Kind.REFUSED, "a required argument was null",
            "the caller left a field empty that must be filled, or the guard refused a value for the shell",
            "give every argument a value; the log names what the guard refused"),
    STRING_NOT_CREATED(501, Kind.FAILED, "a Java string could not be made",
            "the VM is out of memory", "give the VM more memory (-Xmx)"),
    ADD_REFUSED(503, Kind.FAILED, "the result list did not take an element",
            "a list class whose add refuses or throws", "pass a plain java.util.ArrayList"),
    GLOBAL_REFERENCE_NOT_MADE(508, Kind.FAILED, "the VM made no global reference to java.util.ArrayList",
            "the VM is out of memory", "give the VM more memory (-Xmx)"),
    CLASS_NOT_FOUND(510, Kind.FAILED, "java.util.ArrayList was not found",
            "a VM image without its base classes", "use a complete Java runtime"),
    METHOD_NOT_FOUND(511, Kind.FAILED, "a method of java.util.ArrayList was not found",
            "a VM image with altered base classes", "use a complete Java runtime"),
    NO_CONSOLE_GUID(513, Kind.FAILED, "no central console is known",
            "the appliance is not registered with one, or the administration database is down",
            "read the log; register the appliance, or look at section admin_db of vesk.ini"),
    KEYWORD_INVALID(516, Kind.NO, "the keyword expression is not valid",
            "a parenthesis or quotation mark without its partner, an operator without its word, a regular expression "
                    + "that takes too long", "read the log: it names the position and the reason"),

    NOTHING_TO_UPDATE(600, Kind.NO, "there is nothing to update",
            "the components are up to date", "look at the versions that the source has"),
    NO_UPDATE_RUNNING(601, Kind.NO, "no update runs", "none was started, or it has ended", "look at the versions");

    /** What kind of answer a code is. */
    public enum Kind {
        DONE,
        /** The question was answered, with no. */
        NO,
        /** The input was not fit to be asked. */
        REFUSED,
        /** A server, a tool or the VM failed. */
        FAILED
    }

    private final int code;
    private final Kind kind;
    private final String meaning;
    private final String causes;
    private final String cures;

    ResultCode(int code, Kind kind, String meaning, String causes, String cures) {
        this.code = code;
        this.kind = kind;
        this.meaning = meaning;
        this.causes = causes;
        this.cures = cures;
    }

    @Override
    public int code() {
        return code;
    }

    public Kind kind() {
        return kind;
    }

    public String meaning() {
        return meaning;
    }

    /** @return likely causes, the likeliest first; empty for success */
    public String causes() {
        return causes;
    }

    /** @return what to do about it; empty for success */
    public String cures() {
        return cures;
    }

    /**
     * @param code what a native method answered
     * @return its name, or null for a number that is no result code
     */
    public static ResultCode of(int code) {
        for (ResultCode known : values()) {
            if (known.code == code) {
                return known;
            }
        }
        return null;
    }
}
