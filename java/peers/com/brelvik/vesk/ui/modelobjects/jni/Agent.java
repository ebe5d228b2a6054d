package com.brelvik.vesk.ui.modelobjects.jni;

import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;

/** The arguments that the methods which ask a scanner agent share. */
final class Agent {
    private Agent() {}

    @Arg(name = "host", help = "Name or address of the agent; an IPv6 address in brackets", fallback = "127.0.0.1",
            shape = Arg.Shape.AGENT_HOST, bytes = 114)
    @Retention(RetentionPolicy.RUNTIME)
    @interface Host {}

    @Arg(name = "port", help = "Port of the agent", fallback = "8090", upTo = 65535)
    @Retention(RetentionPolicy.RUNTIME)
    @interface Port {}

    @Arg(name = "agent", help = "Where the agent is, as http://host:port", fallback = "http://127.0.0.1:8090",
            shape = Arg.Shape.AGENT_URL)
    @Retention(RetentionPolicy.RUNTIME)
    @interface Endpoint {}

    @Arg(name = "MESSAGE", help = "The agent's name for the message", from = Arg.Source.POSITION)
    @Retention(RetentionPolicy.RUNTIME)
    @interface Reference {}

    @Arg(name = "FILE", help = "File in the agent's export folder that the message is written to: a plain name, or a "
            + "full path in there", from = Arg.Source.POSITION)
    @Retention(RetentionPolicy.RUNTIME)
    @interface Target {}

    @Arg(name = "archived", help = "Look in the archive instead")
    @Retention(RetentionPolicy.RUNTIME)
    @interface Archived {}
}
