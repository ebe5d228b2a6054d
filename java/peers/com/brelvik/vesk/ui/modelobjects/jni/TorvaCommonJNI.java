package com.brelvik.vesk.ui.modelobjects.jni;

import com.brelvik.vesk.ui.modelobjects.ResultCode;

/** System events for scanner agents. May be called from several threads, after {@link JniInit#initializeJNI}. */
public final class TorvaCommonJNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Sends a system configuration event to an agent. The codes are the reverse of
     * {@link SystemMonitorJNI#sendServiceCmd}'s.
     *
     * @param host as in {@link SystemMonitorJNI#testConnection}
     * @param port its port
     * @param event the event's code, between console and agent
     * @return 300 the agent accepted it, 0 it did not or was not reached, 500 null argument
     */
    @ConsoleCommand(group = "agent", name = "event", help = "Send a system event to an agent.", codes = 500,
            own = {@OwnCode(code = 300, name = "ACCEPTED", kind = ResultCode.Kind.DONE,
                    meaning = "the agent accepted it"),
                    @OwnCode(code = 0, name = "NOT_ACCEPTED", kind = ResultCode.Kind.FAILED,
                            meaning = "the agent was not reached, or refused", cures = "try 'agent test'")})
    public native int sendSystemCmd(@Agent.Host String host, @Agent.Port int port,
            @Arg(name = "CODE", help = "Code of the event", from = Arg.Source.POSITION) int event);
}
