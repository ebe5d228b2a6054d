package com.brelvik.vesk.ui.ctl;

import static com.brelvik.vesk.ui.ctl.Tour.at;

import com.brelvik.vesk.ui.ctl.Tour.Stop;
import com.sun.net.httpserver.HttpServer;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.net.InetAddress;
import java.net.InetSocketAddress;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.List;

/** The calls of a tour through the set-up of an appliance, which they change: for the sandbox alone. */
final class SetUpTour {
    private static final String PARENT = "parent.example.com";
    private static final String SET = "/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf set ";

    private final String socket;
    private final String password;
    private final String rules;
    private final String table;
    private final String saved;
    private final String pem;
    private final String request;

    /** @param folder for files; its folder "parent" has the socket of a parent's database */
    SetUpTour(String folder) {
        socket = folder + "/parent";
        password = folder + "/database.pass";
        rules = folder + "/rules";
        table = folder + "/clients";
        saved = folder + "/saved.tgz";
        pem = folder + "/gate.pem";
        request = folder + "/request.xml";
    }

    List<List<Stop>> stops() {
        return List.of(identity(), addresses(), ipv6(), zoneAndClock(), registration(), restarts(), mail(),
                restrictions(), backup(), host());
    }

    private static List<Stop> identity() {
        return List.of(
                at("The wizard's first page: a host name", "WzrdJNI.setHostname", 0, "HOSTNAME", "gate.example.com"),
                at("It is what was set", "WzrdJNI.getHostname", 0).shows("gate.example.com"),
                at("The version of this appliance", "WzrdJNI.getChildVersion", 0));
    }

    private static List<Stop> addresses() {
        return List.of(
                at("Network interfaces", "WzrdJNI.getIFDevList", 0).shows("eth0 eth1"),
                at("Address of the data port", "WzrdJNI.setIPAddr", 0, "ADDRESS", "192.0.2.20"),
                at("Its mask", "WzrdJNI.setIPMask", 0, "MASK", "255.255.255.128"),
                at("Gateway", "WzrdJNI.setIpv4Gateway", 0, "ADDRESS", "192.0.2.1"),
                // Where nobody answers, names that are unknown are so at once.
                at("A name server", "WzrdJNI.setIpv4DNS1", 0, "ADDRESS", "127.0.0.1"),
                at("A second name server", "WzrdJNI.setIpv4DNS2", 0, "ADDRESS", "192.0.2.54"),
                at("It is what was set", "WzrdJNI.getIpv4DNS2", 0).shows("192.0.2.54"),
                at("No second one after all", "WzrdJNI.setIpv4DNS2", 0, "ADDRESS", ""),
                at("Address of the other interface", "WzrdJNI.setIFV4Addr", 0, "DEVICE", "eth1", "ADDRESS",
                        "198.51.100.20", "MASK", "255.255.255.0"),
                at("In its file", "WzrdJNI.getIFV4Addr", 0, "DEVICE", "eth1").shows("198.51.100.20"),
                at("An interface that is not there: exit code 3", "WzrdJNI.setIFV4Addr", 3 << 8, "DEVICE", "eth9",
                        "ADDRESS", "10.0.0.1", "MASK", "255.0.0.0"),
                at("The port between the appliances", "WzrdJNI.setICPort", 0, "DEVICE", "eth1"),
                at("It is what was set", "WzrdJNI.getICPort", 0).shows("eth1"));
    }

    private static List<Stop> ipv6() {
        return List.of(
                at("IPv6 off", "WzrdJNI.disableIPv6", 0),
                at("Is it on?", "WzrdJNI.isIPv6Enable", false),
                at("Postfix knows", "PostfixJNI.getPostconf", 0, "KEY", "inet_protocols").shows("ipv4"),
                at("IPv6 on", "WzrdJNI.enableIPv6", 0),
                at("Is it on?", "WzrdJNI.isIPv6Enable", true),
                at("An address", "WzrdJNI.setIFV6Addr", 0, "DEVICE", "eth0", "ADDRESS", "2001:db8::20", "PREFIX", "64"),
                at("Gateway", "WzrdJNI.setIpv6Gateway", 0, "ADDRESS", "2001:db8::1"),
                at("All of the network in force", "WzrdJNI.applyNetworkSettings", 0),
                at("What the kernel says", "$ hostname", 0).shows("gate.example.com"),
                at("Addresses", "$ ip -o address show dev eth0 scope global | awk '{ print $4 }'", 0)
                        .shows("192.0.2.20/25 2001:db8::20/64"),
                at("The shortest form of an address", "IPv6JNI.formatIPv6Addr", "2001:db8::a:0:0:1", "ADDRESS",
                        "2001:0DB8:0:0:A:0:0:1"),
                at("A network, its host bits cleared", "IPv6JNI.formatIPv6WithMask", "2001:db8:0:ff00::/56", "ADDRESS",
                        "2001:db8:0:ffff::1/56"),
                at("A zone index is no part of an address", "IPv6JNI.formatIPv6Addr", "", "ADDRESS", "fe80::1%eth0"));
    }

    private static List<Stop> zoneAndClock() {
        return List.of(
                at("Continents", "WzrdJNI.getContinentList", 0),
                at("Countries of one", "WzrdJNI.getCountryList", 0, "CONTINENT", "Asia"),
                at("Cities of one", "WzrdJNI.getCityList", 0, "CONTINENT", "Asia", "COUNTRY", "Japan").shows("Tokyo"),
                at("A time zone", "WzrdJNI.setTimeZone", 0, "CONTINENT", "Asia", "COUNTRY", "Japan", "CITY", "Tokyo"),
                at("It is in force", "$ unset TZ; date +%Z", 0).shows("JST"),
                at("Its city", "WzrdJNI.getCurrCity", 0).shows("Tokyo"),
                at("The clock", "WzrdJNI.setDateTime", 0, "TIME", "2031-02-03 04:05:06"),
                at("The sandbox only noted it", "$ tail -n 2 \"$VESK_SANDBOX_LOG\" | head -n 1", 0)
                        .shows("date --set=2031-02-03 04:05:06"),
                at("Date", "WzrdJNI.getSysDate", 0),
                at("Time", "WzrdJNI.getSysTime", 0));
    }

    private List<Stop> registration() {
        writePassword();
        return List.of(
                at("Where the parent's password is", "$ " + SET + "database password_file " + password, 0),
                at("The parent is on this machine", "$ " + SET + "parent_socket " + PARENT + " " + socket, 0),
                at("Nobody's database: exit code 8", "WzrdJNI.chkMasterDB", 8 << 8, "PARENT", "127.0.0.1"),
                at("The parent's database answers", "WzrdJNI.chkMasterDB", 0, "PARENT", PARENT),
                at("The parent's version", "WzrdJNI.getParentVersion", 0, "PARENT", PARENT),
                at("Registration", "WzrdJNI.regToMaster", 0, "PARENT", PARENT),
                at("The database in use is the parent's", "WzrdJNI.getDBSvrIP", 0).shows(PARENT));
    }

    private static List<Stop> restarts() {
        return List.of(
                at("The manager starts anew", "WzrdJNI.restartServices", 0, "MODE", "1"),
                at("All services", "WzrdJNI.restartServices", 0, "MODE", "2"),
                at("All but the console", "WzrdJNI.restartServices", 0, "MODE", "3"),
                at("The last page: what a child no longer needs is stopped", "WzrdJNI.afterRegister", 0));
    }

    private List<Stop> mail() {
        return List.of(
                at("Postfix is there", "PostfixJNI.isPostfixExist", 0),
                at("A parameter", "PostfixJNI.getPostconf", 0, "KEY", "message_size_limit").shows("52428800"),
                at("Not set explicitly", "PostfixJNI.isKeyConfigured", 103, "KEY", "relayhost"),
                at("Now it is", "PostfixJNI.setPostconf", 0, "KEY", "relayhost", "VALUE", "[relay.example.com]:25"),
                at("Indeed", "PostfixJNI.isKeyConfigured", 0, "KEY", "relayhost"),
                at("Its value", "PostfixJNI.getPostconf", 0, "KEY", "relayhost").shows("[relay.example.com]:25"),
                at("A certificate", "$ openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=gate.example.com -keyout "
                        + pem + ".key -out " + pem + " 2>" + pem + ".log", 0),
                at("It is one", "PostfixJNI.checkPEMFormat", 0, "FILE", pem, "key", "false"),
                at("But no key", "PostfixJNI.checkPEMFormat", 105, "FILE", pem, "key", "true"));
    }

    private List<Stop> restrictions() {
        return List.of(
                at("Rules for clients",
                        "$ printf '10.1.0.0/16 REJECT\\n192.168.1.5 OK\\n172.16.8.0/23 450 later\\n' >" + rules, 0),
                at("A table for Postfix", "PostfixJNI.composeClientRestrictionFile", 0, "RULES", rules, "TABLE", table),
                at("Its source", "$ cat " + table, 0),
                at("Compiled", "PostfixJNI.postmap", 0, "FILE", table),
                at("Postfix asks for a network", "$ postmap -q 10.1 " + table, 0).shows("REJECT"),
                at("For a half of two", "$ postmap -q 172.16.9 " + table, 0).shows("450 later"),
                at("For a host", "$ postmap -q 192.168.1.5 " + table, 0).shows("OK"),
                at("For one without a rule", "$ postmap -q 192.168.1.6 " + table, 1),
                at("In force", "PostfixJNI.setPostconf", 0, "KEY", "smtpd_client_restrictions", "VALUE",
                        "check_client_access hash:" + table),
                at("Rules that are not there", "PostfixJNI.composeClientRestrictionFile", 104, "RULES",
                        rules + ".none", "TABLE", table + ".none"));
    }

    private List<Stop> backup() {
        return List.of(
                at("The configuration in a file", "BackupJNI.doExport", 0, "FILE", saved),
                at("Damage", "$ echo nonsense >/etc/conf/stb.conf", 0),
                at("There is no host name any more", "WzrdJNI.getHostname", 102),
                at("A file that was cut off: exit code 4", "$ head -c 900 " + saved + " >" + saved + ".cut", 0),
                at("It is refused, and nothing changes", "BackupJNI.doImport", 4, "FILE", saved + ".cut", "MODE",
                        "full"),
                at("The whole file", "BackupJNI.doImport", 0, "FILE", saved, "MODE", "full"),
                at("The host name is back", "WzrdJNI.getHostname", 0).shows("gate.example.com"),
                at("Registered as before", "WzrdJNI.getDBSvrIP", 0).shows(PARENT));
    }

    private List<Stop> host() {
        String own = Long.toString(ProcessHandle.current().pid());
        return List.of(
                at("This process", "SystemJNI.getPID", own),
                at("It runs", "SystemJNI.processRunning", 0, "PID", own),
                at("This one does not", "SystemJNI.processRunning", -1, "PID", "999999999"),
                at("Where the manager is", "$ " + SET + "manager endpoint " + manager(), 0),
                at("The policy: the request goes out in the background", "PolicyJNI.notifyUpdatePolicyNow", 0, "FIRST",
                        "all", "SECOND", "all", "THIRD", "admin@example.com"),
                at("What the manager got", "$ timeout 20 sh -c 'until grep -o \"<policy>.*</requester>\" " + request
                        + "; do sleep 0.1; done' 2>/dev/null", 0).shows("<policy>all</policy><scope>all</scope>"
                        + "<requester>admin@example.com</requester>"));
    }

    // No command, since every user of the machine can read a command line.
    private void writePassword() {
        try {
            Files.createFile(Path.of(password),
                    PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rw-------")));
            Files.writeString(Path.of(password), "*:*:*:sa:secret\n");
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }

    /** Starts what stands for the manager, and keeps what it is sent, until the VM ends. */
    private String manager() {
        try {
            HttpServer server = HttpServer.create(new InetSocketAddress(InetAddress.getLoopbackAddress(), 0), 1);
            server.createContext("/", exchange -> {
                Files.write(Path.of(request), exchange.getRequestBody().readAllBytes());
                exchange.sendResponseHeaders(200, -1);
                exchange.close();
            });
            server.start();
            return "http://127.0.0.1:" + server.getAddress().getPort() + "/policy";
        } catch (IOException e) {
            throw new UncheckedIOException(e);
        }
    }
}
