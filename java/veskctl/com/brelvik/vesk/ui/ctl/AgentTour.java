package com.brelvik.vesk.ui.ctl;

import static com.brelvik.vesk.ui.ctl.Tour.at;

import com.brelvik.vesk.ui.ctl.Tour.Stop;
import java.util.List;

/**
 * The calls of a tour through a fleet of agents. The folder has what {@code tools/demo} puts there: {@code agents} with
 * the address of an agent a line, the first of which holds messages and a mail log and the last of which adds wrongly;
 * {@code agent.1/events} and {@code agent.1/export}.
 */
final class AgentTour {
    private static final String MESSAGE = "Q-1001";

    private final String folder;
    private final List<String> agents;
    private final String endpoint;

    AgentTour(String folder) {
        this.folder = folder;
        this.agents = Tour.lines(folder + "/agents");
        this.endpoint = "http://" + agents.get(0);
    }

    List<List<Stop>> stops() {
        return List.of(connections(), commands(), fleet(), quarantine(), mailLog());
    }

    private List<Stop> connections() {
        return List.of(
                to(0, at("The library's version", "SystemMonitorJNI.getVESKVersion", 0)),
                to(0, at("An agent adds two numbers", "SystemMonitorJNI.testConnection", 0)).shows(endpoint),
                to(1, at("Another agent", "SystemMonitorJNI.testConnection", 0)),
                to(2, at("This one adds wrongly", "SystemMonitorJNI.testConnection", 300)),
                at("Nobody is there", "SystemMonitorJNI.testConnection", 300, "host", "127.0.0.1", "port", "1")
                        .shows("http://127.0.0.1:1"));
    }

    private List<Stop> commands() {
        return List.of(
                to(0, at("A service command", "SystemMonitorJNI.sendServiceCmd", 0, "CODE", "3")),
                to(0, at("A system event; 300 says that the agent took it", "TorvaCommonJNI.sendSystemCmd", 300, "CODE",
                        "12")),
                to(0, at("The end of its notifications; 1 is the success", "SystemMonitorJNI.UnregisterNotify", 1)),
                at("Its queues, to be looked at now", "QuarantineJNI.sendQueueManagementAction", 0, "agent", endpoint),
                at("What the agent noted", "$ cat " + folder + "/agent.1/events", 0));
    }

    private List<Stop> fleet() {
        String all = String.join(",", agents);
        return List.of(
                at("All agents at once, one of them named twice", "SystemMonitorJNI.PostSetNotifyAllScanners", 0,
                        "ADDRESS", all + "," + agents.get(1)),
                at("And one that is not there: a minus tells how many", "SystemMonitorJNI.PostSetNotifyAllScanners",
                        -1, "ADDRESS", all + ",127.0.0.1:1"),
                at("A patch, for the agents that vesk.ini names", "SystemMonitorJNI.PatchSetNotify", 0, "TEXT",
                        "patch 7.5.1"));
    }

    private List<Stop> quarantine() {
        return List.of(
                at("Header, text and attachments of a message", "QuarantineJNI.getMsgHeaderOrBody", 1, "agent",
                        endpoint, "MESSAGE", MESSAGE, "archived", "false"),
                at("A message that is not there", "QuarantineJNI.getMsgHeaderOrBody", 0, "agent", endpoint, "MESSAGE",
                        "nothing", "archived", "false"),
                at("The whole of it, into the agent's export folder", "QuarantineJNI.getEmail", 1, "agent", endpoint,
                        "MESSAGE", MESSAGE, "FILE", "whole.eml", "archived", "false"),
                at("As it came", "$ head -n 5 " + folder + "/agent.1/export/whole.eml", 0),
                at("No way out of that folder", "QuarantineJNI.getEmail", 0, "agent", endpoint, "MESSAGE", MESSAGE,
                        "FILE", "../whole.eml", "archived", "false"));
    }

    private List<Stop> mailLog() {
        String page = "MTAlogJNI.getMTAEventSubmit";
        return List.of(
                at("The newest events of the mail log", page, 0, "agent", endpoint, "mode", "0", "keyword", "",
                        "paging", "5,0,0,1,0,0,0,0,0", "file", ""),
                at("The oldest that were deferred", page, 0, "agent", endpoint, "mode", "1", "keyword",
                        "status=deferred", "paging", "3,0,0,1,0,0,0,0,0", "file", ""),
                at("A page after the other", "$ ./vesk ctl mta-log page --agent " + endpoint
                        + " --page-size 4 --pages 3 --keyword status=sent --oldest-first", 0),
                at("A block that is too short", page, 500, "agent", endpoint, "mode", "0", "keyword", "", "paging",
                        "5,0,0,1,0,0,0,0", "file", ""));
    }

    private Stop to(int agent, Stop stop) {
        String[] address = agents.get(agent).split(":");
        stop.arguments().put("host", address[0]);
        stop.arguments().put("port", address[1]);
        return stop;
    }
}
