package com.brelvik.vesk.ui.modelobjects.jni;

import com.brelvik.vesk.ui.modelobjects.ResultCode;
import java.util.ArrayList;

/**
 * Scanner agents, and settings that they are told of. May be called from several threads, after
 * {@link JniInit#initializeJNI}. An agent is asked within the time-outs of section {@code agent} of {@code vesk.ini}:
 * 5 seconds to connect, 30 seconds in all.
 */
public final class SystemMonitorJNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Tells the version of the native library.
     *
     * @param versions receives one text, such as {@code Version 7.5-Build_Linux_1234 $Date: 2026/11/21 10:15:00$}
     * @return 0
     */
    @ConsoleCommand(group = "host", name = "version", help = "Show the version of the native library.", codes = 0)
    public native int getVESKVersion(ArrayList<String> versions);

    /**
     * Lets an agent add two numbers, to see that it works.
     *
     * @param host name or address of the agent, an IPv6 address in brackets; not null. With the port at most 119 bytes:
     *     what is longer is cut without notice
     * @param port its port
     * @param endpoints receives the address that was asked, whatever came of it
     * @return 0 it does, 300 it was not reached or gave a wrong answer, 500 null argument
     */
    @ConsoleCommand(group = "agent", name = "test", help = "Test the connection to an agent.", codes = {0, 500},
            unlogged = "it answered, but with a wrong sum",
            own = @OwnCode(code = 300, name = "AGENT_FAILED", kind = ResultCode.Kind.FAILED,
                    meaning = "the agent was not reached or gave a wrong answer",
                    cures = "read the log: its last line names the reason"))
    public native int testConnection(@Agent.Host String host, @Agent.Port int port, ArrayList<String> endpoints);

    /**
     * Ends an agent's notifications.
     *
     * @param host as in {@link #testConnection}
     * @param port its port
     * @return 1 done, 0 it failed, 500 null argument
     */
    @ConsoleCommand(group = "agent", name = "unregister", help = "End the notifications of an agent.", codes = 500,
            own = {@OwnCode(code = 1, name = "UNREGISTERED", kind = ResultCode.Kind.DONE, meaning = "done"),
                    @OwnCode(code = 0, name = "NOT_UNREGISTERED", kind = ResultCode.Kind.FAILED,
                            meaning = "the agent was not reached, or refused", cures = "try 'agent test'")})
    public native int UnregisterNotify(@Agent.Host String host, @Agent.Port int port);

    /**
     * Sends a service command to an agent.
     *
     * @param host as in {@link #testConnection}
     * @param port its port
     * @param command the command's code, between console and agent
     * @return 0 the agent echoed the code, 300 it was not reached or echoed another, 500 null argument
     */
    @ConsoleCommand(group = "agent", name = "service", help = "Send a service command to an agent.",
            codes = {0, 300, 500}, unlogged = "it answered, but with another code than it was sent")
    public native int sendServiceCmd(@Agent.Host String host, @Agent.Port int port,
            @Arg(name = "CODE", help = "Code of the command", from = Arg.Source.POSITION) int command);

    /**
     * Sets a value in the settings store of this process. The file is not written, and no agent is told.
     *
     * @param value the new value; not null
     * @param section the section of {@code vesk.ini}; not null
     * @param key the key, made if it is missing; not null
     * @return 0 set, -1 not: a null argument, or an empty section or key
     */
    @ConsoleCommand(group = "host", name = "set", help = "Set a value in the settings of this process, for a try.",
            codes = 0, done = "set until this process ends; the file stays as it is",
            own = @OwnCode(code = -1, name = "NOT_SET", kind = ResultCode.Kind.REFUSED,
                    meaning = "the settings store did not take it", cures = "name a section and a key"))
    public native int updateGlobalSetting(
            @Arg(name = "VALUE", help = "New value", from = Arg.Source.POSITION) String value,
            @Arg(name = "SECTION", help = "Section of vesk.ini", from = Arg.Source.POSITION) String section,
            @Arg(name = "KEY", help = "Key in the section", from = Arg.Source.POSITION) String key);

    /**
     * Tells all agents of a patch at once: those of key {@code scanners} in section {@code agent} of {@code vesk.ini}.
     *
     * @param notification text for the agents; not null
     * @return 0 all were told, 1 no agent is set, 500 null argument; -n: n agents were not told, and the log names them
     */
    @ConsoleCommand(group = "agent", name = "patch", help = "Tell the agents of vesk.ini of a patch.", codes = {0, 500},
            form = ConsoleCommand.Form.UNTOLD,
            own = @OwnCode(code = 1, name = "NO_AGENTS", kind = ResultCode.Kind.REFUSED, meaning = "no agent is set",
                    cures = "list them in vesk.ini: scanners in section agent"))
    public native int PatchSetNotify(
            @Arg(name = "TEXT", help = "Notification", from = Arg.Source.POSITION) String notification);

    /**
     * Tells agents at once that settings were changed, each of them once.
     *
     * @param addresses {@code host:port}, one an element; not null, nor any of its elements
     * @return 0 all were told (or the list is empty), 500 null argument; -n: n agents were not told, and the log names
     *     them
     */
    @ConsoleCommand(group = "agent", name = "notify", help = "Tell agents that settings were changed.",
            codes = {0, 500}, form = ConsoleCommand.Form.UNTOLD)
    public native int PostSetNotifyAllScanners(@Arg(name = "ADDRESS", help = "Agents, as host:port",
            from = Arg.Source.POSITION, shape = Arg.Shape.AGENT_ADDRESS) ArrayList<String> addresses);
}
