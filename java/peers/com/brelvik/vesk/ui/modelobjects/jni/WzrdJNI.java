package com.brelvik.vesk.ui.modelobjects.jni;

import java.util.ArrayList;

/**
 * The set-up wizard. Nearly every method runs one command of the appliance, whose command line and answer are in the
 * log. Values reach the shell as they are, in the quotes that their parameter's comment names. May be called from
 * several threads, after {@link JniInit#initializeJNI}.
 */
public final class WzrdJNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Reads the host name.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "hostname", help = "Show the host name.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getHostname(ArrayList<String> list);

    /**
     * Reads the IPv4 address of the data port.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "ip", help = "Show the IPv4 address of the data port.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getIPAddr(ArrayList<String> list);

    /**
     * Reads the IPv4 mask of the data port.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "mask", help = "Show the IPv4 mask of the data port.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getIPMask(ArrayList<String> list);

    /**
     * Reads the IPv4 gateway.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "ipv4-gateway", help = "Show the IPv4 gateway.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getIpv4Gateway(ArrayList<String> list);

    /**
     * Reads the IPv6 gateway.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "ipv6-gateway", help = "Show the IPv6 gateway.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getIpv6Gateway(ArrayList<String> list);

    /**
     * Reads the first DNS server by IPv4.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "ipv4-dns1", help = "Show the first DNS server by IPv4.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getIpv4DNS1(ArrayList<String> list);

    /**
     * Reads the second DNS server by IPv4.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "ipv4-dns2", help = "Show the second DNS server by IPv4.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getIpv4DNS2(ArrayList<String> list);

    /**
     * Reads the first DNS server by IPv6.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "ipv6-dns1", help = "Show the first DNS server by IPv6.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getIpv6DNS1(ArrayList<String> list);

    /**
     * Reads the second DNS server by IPv6.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "ipv6-dns2", help = "Show the second DNS server by IPv6.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getIpv6DNS2(ArrayList<String> list);

    /**
     * Reads the continent of the time zone.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "continent", help = "Show the continent of the time zone.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getCurrContinent(ArrayList<String> list);

    /**
     * Reads the country of the time zone.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "country", help = "Show the country of the time zone.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getCurrCountry(ArrayList<String> list);

    /**
     * Reads the city of the time zone.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "city", help = "Show the city of the time zone.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getCurrCity(ArrayList<String> list);

    /**
     * Reads the version of this appliance.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "child-version", help = "Show the version of this appliance.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getChildVersion(ArrayList<String> list);

    /**
     * Reads the address of the database server in use.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "db-server", help = "Show the address of the database server in use.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getDBSvrIP(ArrayList<String> list);

    /**
     * Reads the time, as hours:minutes:seconds.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "time", help = "Show the time, as hours:minutes:seconds.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getSysTime(ArrayList<String> list);

    /**
     * Reads the date, as month/day/year.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "date", help = "Show the date, as month/day/year.",
            codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getSysDate(ArrayList<String> list);

    /**
     * Reads the interface of the internal communication port. A list that refuses gives 0 all the same.
     *
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list
     */
    @ConsoleCommand(group = "wizard", name = "ic-port", help = "Show the interface of the internal communication port.",
            codes = {0, 100, 101, 102, 500})
    public native int getICPort(ArrayList<String> list);

    /**
     * Reads the names of the network interfaces, one element each. A list that refuses gives 0 all the same.
     *
     * @param list receives the names; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null list
     */
    @ConsoleCommand(group = "wizard", name = "devices",
            help = "Show the names of the network interfaces, one element each.",
            codes = {0, 100, 101, 102, 500})
    public native int getIFDevList(ArrayList<String> list);

    /**
     * Sets the host name; in force after {@link #applyNetworkSettings}.
     *
     * @param value the new value, of which 184 bytes are read; not null. What puts it in force takes 64. The shell
     *     sees it inside double quotes: the caller checks it for quotes, dollar signs, back-quotes and backslashes
     * @return the tool's wait status (exit code times 256), -1 when no shell could be started, 100 no command
     *     line, 500 null value
     */
    @ConsoleCommand(group = "wizard", name = "set-hostname", help = "Set the host name.",
            codes = {0, 100, 500}, form = ConsoleCommand.Form.WAIT_STATUS)
    public native int setHostname(@Arg(name = "HOSTNAME", help = "New value", from = Arg.Source.POSITION,
            shape = Arg.Shape.HOST_NAME, bytes = 64)
            String value);

    /**
     * Sets the IPv4 address of the data port; in force after {@link #applyNetworkSettings}.
     *
     * @param value the new value, at most 188 bytes; not null. The shell sees it inside double quotes: the caller
     *     checks it for quotes, dollar signs, back-quotes and backslashes
     * @return the tool's wait status (exit code times 256), -1 when no shell could be started, 100 no command
     *     line, 500 null value
     */
    @ConsoleCommand(group = "wizard", name = "set-ip", help = "Set the IPv4 address of the data port.",
            codes = {0, 100, 500}, form = ConsoleCommand.Form.WAIT_STATUS)
    public native int setIPAddr(@Arg(name = "ADDRESS", help = "New value", from = Arg.Source.POSITION,
            shape = Arg.Shape.IPV4, bytes = 188)
            String value);

    /**
     * Sets the IPv4 mask of the data port; in force after {@link #applyNetworkSettings}.
     *
     * @param value the new value, at most 183 bytes; not null. The shell sees it inside double quotes: the caller
     *     checks it for quotes, dollar signs, back-quotes and backslashes
     * @return the tool's wait status (exit code times 256), -1 when no shell could be started, 100 no command
     *     line, 500 null value
     */
    @ConsoleCommand(group = "wizard", name = "set-mask", help = "Set the IPv4 mask of the data port.",
            codes = {0, 100, 500}, form = ConsoleCommand.Form.WAIT_STATUS)
    public native int setIPMask(@Arg(name = "MASK", help = "New value", from = Arg.Source.POSITION,
            shape = Arg.Shape.IPV4_MASK, bytes = 183)
            String value);

    /**
     * Sets the IPv4 gateway; in force after {@link #applyNetworkSettings}.
     *
     * @param value the new value, at most 177 bytes; not null. The shell sees it inside double quotes: the caller
     *     checks it for quotes, dollar signs, back-quotes and backslashes
     * @return the tool's wait status (exit code times 256), -1 when no shell could be started, 100 no command
     *     line, 500 null value
     */
    @ConsoleCommand(group = "wizard", name = "set-ipv4-gateway", help = "Set the IPv4 gateway.",
            codes = {0, 100, 500}, form = ConsoleCommand.Form.WAIT_STATUS)
    public native int setIpv4Gateway(@Arg(name = "ADDRESS", help = "New value", from = Arg.Source.POSITION,
            shape = Arg.Shape.IPV4, orEmpty = true, bytes = 177)
            String value);

    /**
     * Sets the IPv6 gateway; in force after {@link #applyNetworkSettings}.
     *
     * @param value the new value, at most 177 bytes; not null. The shell sees it inside double quotes: the caller
     *     checks it for quotes, dollar signs, back-quotes and backslashes
     * @return the tool's wait status (exit code times 256), -1 when no shell could be started, 100 no command
     *     line, 500 null value
     */
    @ConsoleCommand(group = "wizard", name = "set-ipv6-gateway", help = "Set the IPv6 gateway.",
            codes = {0, 100, 500}, form = ConsoleCommand.Form.WAIT_STATUS)
    public native int setIpv6Gateway(@Arg(name = "ADDRESS", help = "New value", from = Arg.Source.POSITION,
            shape = Arg.Shape.IPV6, orEmpty = true, bytes = 177)
            String value);

    /**
     * Sets the first DNS server by IPv4; in force after {@link #applyNetworkSettings}.
     *
     * @param value the new value, at most 183 bytes; not null. The shell sees it inside double quotes: the caller
     *     checks it for quotes, dollar signs, back-quotes and backslashes
     * @return the tool's wait status (exit code times 256), -1 when no shell could be started, 100 no command
     *     line, 500 null value
     */
    @ConsoleCommand(group = "wizard", name = "set-ipv4-dns1", help = "Set the first DNS server by IPv4.",
            codes = {0, 100, 500}, form = ConsoleCommand.Form.WAIT_STATUS)
    public native int setIpv4DNS1(@Arg(name = "ADDRESS", help = "New value", from = Arg.Source.POSITION,
            shape = Arg.Shape.IPV4, orEmpty = true, bytes = 183)
            String value);

    /**
     * Sets the second DNS server by IPv4; in force after {@link #applyNetworkSettings}.
     *
     * @param value the new value, at most 183 bytes; not null. The shell sees it inside double quotes: the caller
     *     checks it for quotes, dollar signs, back-quotes and backslashes
     * @return the tool's wait status (exit code times 256), -1 when no shell could be started, 100 no command
     *     line, 500 null value
     */
    @ConsoleCommand(group = "wizard", name = "set-ipv4-dns2", help = "Set the second DNS server by IPv4.",
            codes = {0, 100, 500}, form = ConsoleCommand.Form.WAIT_STATUS)
    public native int setIpv4DNS2(@Arg(name = "ADDRESS", help = "New value", from = Arg.Source.POSITION,
            shape = Arg.Shape.IPV4, orEmpty = true, bytes = 183)
            String value);

    /**
     * Sets the first DNS server by IPv6; in force after {@link #applyNetworkSettings}.
     *
     * @param value the new value, at most 183 bytes; not null. The shell sees it inside double quotes: the caller
     *     checks it for quotes, dollar signs, back-quotes and backslashes
     * @return the tool's wait status (exit code times 256), -1 when no shell could be started, 100 no command
     *     line, 500 null value
     */
    @ConsoleCommand(group = "wizard", name = "set-ipv6-dns1", help = "Set the first DNS server by IPv6.",
            codes = {0, 100, 500}, form = ConsoleCommand.Form.WAIT_STATUS)
    public native int setIpv6DNS1(@Arg(name = "ADDRESS", help = "New value", from = Arg.Source.POSITION,
            shape = Arg.Shape.IPV6, orEmpty = true, bytes = 183)
            String value);

    /**
     * Sets the second DNS server by IPv6; in force after {@link #applyNetworkSettings}.
     *
     * @param value the new value, at most 183 bytes; not null. The shell sees it inside double quotes: the caller
     *     checks it for quotes, dollar signs, back-quotes and backslashes
     * @return the tool's wait status (exit code times 256), -1 when no shell could be started, 100 no command
     *     line, 500 null value
     */
    @ConsoleCommand(group = "wizard", name = "set-ipv6-dns2", help = "Set the second DNS server by IPv6.",
            codes = {0, 100, 500}, form = ConsoleCommand.Form.WAIT_STATUS)
    public native int setIpv6DNS2(@Arg(name = "ADDRESS", help = "New value", from = Arg.Source.POSITION,
            shape = Arg.Shape.IPV6, orEmpty = true, bytes = 183)
            String value);

    /**
     * Sets the interface of the internal communication port; in force after {@link #applyNetworkSettings}.
     *
     * @param value the new value, at most 194 bytes; not null. The shell sees it inside double quotes: the caller
     *     checks it for quotes, dollar signs, back-quotes and backslashes
     * @return the tool's wait status (exit code times 256), -1 when no shell could be started, 100 no command
     *     line, 500 null value
     */
    @ConsoleCommand(group = "wizard", name = "set-ic-port",
            help = "Set the interface of the internal communication port.",
            codes = {0, 100, 500}, form = ConsoleCommand.Form.WAIT_STATUS)
    public native int setICPort(@Arg(name = "DEVICE", help = "New value", from = Arg.Source.POSITION,
            shape = Arg.Shape.DEVICE, bytes = 194)
            String value);

    /**
     * Reads the IPv4 address in the configuration file of an interface. A key or a file that is missing gives the
     * empty text, and a list that refuses 0 all the same.
     *
     * @param device name of the interface, such as eth0; not null. The shell sees it unquoted: the caller checks
     *     it
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 500 null device
     */
    @ConsoleCommand(group = "wizard", name = "interface-ipv4",
            help = "Show the IPv4 address in the configuration file of an interface.",
            codes = {0, 100, 101, 500})
    public native int getIFV4Addr(@Arg(name = "DEVICE", help = "Interface, such as eth0", from = Arg.Source.POSITION,
            shape = Arg.Shape.DEVICE)
            String device, ArrayList<String> list);

    /**
     * Reads the IPv4 mask in the configuration file of an interface. A key or a file that is missing gives the empty
     * text, and a list that refuses 0 all the same.
     *
     * @param device name of the interface, such as eth0; not null. The shell sees it unquoted: the caller checks
     *     it
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 500 null device
     */
    @ConsoleCommand(group = "wizard", name = "interface-mask",
            help = "Show the IPv4 mask in the configuration file of an interface.",
            codes = {0, 100, 101, 500})
    public native int getIFV4NetMask(@Arg(name = "DEVICE", help = "Interface, such as eth0",
            from = Arg.Source.POSITION, shape = Arg.Shape.DEVICE)
            String device, ArrayList<String> list);

    /**
     * Reads the IPv6 address in the configuration file of an interface. A key or a file that is missing gives the
     * empty text, and a list that refuses 0 all the same.
     *
     * @param device name of the interface, such as eth0; not null. The shell sees it unquoted: the caller checks
     *     it
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 500 null device
     */
    @ConsoleCommand(group = "wizard", name = "interface-ipv6",
            help = "Show the IPv6 address in the configuration file of an interface.",
            codes = {0, 100, 101, 500})
    public native int getIFV6AddrMask(@Arg(name = "DEVICE", help = "Interface, such as eth0",
            from = Arg.Source.POSITION, shape = Arg.Shape.DEVICE)
            String device, ArrayList<String> list);

    /**
     * Writes the IPv4 address of an interface into its configuration file. The shell sees the three texts inside
     * double quotes: the caller checks them.
     *
     * @param device name of the interface; not null
     * @param address its address; not null
     * @param mask its net mask; not null
     * @return the script's wait status (exit code times 256), -1 when no shell could be started, 100 no command
     *     line, 500 null argument
     */
    @ConsoleCommand(group = "wizard", name = "set-interface-ipv4", help = "Set the IPv4 address of an interface.",
            codes = {0, 100, 500}, form = ConsoleCommand.Form.WAIT_STATUS)
    public native int setIFV4Addr(@Arg(name = "DEVICE", help = "Interface, such as eth0", from = Arg.Source.POSITION,
            shape = Arg.Shape.DEVICE)
            String device, @Arg(name = "ADDRESS", help = "Address", from = Arg.Source.POSITION, shape = Arg.Shape.IPV4)
            String address, @Arg(name = "MASK", help = "Net mask", from = Arg.Source.POSITION,
            shape = Arg.Shape.IPV4_MASK)
            String mask);

    /**
     * Writes the IPv6 address of an interface into its configuration file. The shell sees the three texts inside
     * double quotes: the caller checks them.
     *
     * @param device name of the interface; not null
     * @param address its address; not null
     * @param mask its prefix length; not null
     * @return the script's wait status (exit code times 256), -1 when no shell could be started, 100 no command
     *     line, 500 null argument
     */
    @ConsoleCommand(group = "wizard", name = "set-interface-ipv6", help = "Set the IPv6 address of an interface.",
            codes = {0, 100, 500}, form = ConsoleCommand.Form.WAIT_STATUS)
    public native int setIFV6Addr(@Arg(name = "DEVICE", help = "Interface, such as eth0", from = Arg.Source.POSITION,
            shape = Arg.Shape.DEVICE)
            String device, @Arg(name = "ADDRESS", help = "Address", from = Arg.Source.POSITION, shape = Arg.Shape.IPV6)
            String address, @Arg(name = "PREFIX", help = "Prefix length, 1 to 128", from = Arg.Source.POSITION,
            shape = Arg.Shape.PREFIX_LENGTH)
            String mask);

    /**
     * Tells whether IPv6 is switched on in the system's network file.
     *
     * @return whether it is; also true when the question could not be asked
     */
    @ConsoleCommand(group = "wizard", name = "ipv6", help = "Is IPv6 switched on?",
            codes = {})
    public native boolean isIPv6Enable();

    /**
     * Switches IPv6 on for the system and then for Postfix, which is told even when the system's script failed.
     *
     * @return the wait status of Postfix's tool (exit code times 256), -1 when no shell could be started, 100 no
     *     command line
     */
    @ConsoleCommand(group = "wizard", name = "ipv6-on", help = "Switch IPv6 on, for Postfix too.",
            codes = {0, 100}, form = ConsoleCommand.Form.WAIT_STATUS,
            denial = "WzrdJNI\\.enableIPv6 nRet: \\[(?!0\\])", cure = "run '/etc/clish/scripts/ipv6.sh enable' by hand")
    public native int enableIPv6();

    /**
     * Switches IPv6 off for the system and then for Postfix, which is told even when the system's script failed.
     *
     * @return the wait status of Postfix's tool (exit code times 256), -1 when no shell could be started, 100 no
     *     command line
     */
    @ConsoleCommand(group = "wizard", name = "ipv6-off", help = "Switch IPv6 off, for Postfix too.",
            codes = {0, 100}, form = ConsoleCommand.Form.WAIT_STATUS,
            denial = "WzrdJNI\\.disableIPv6 nRet: \\[(?!0\\])",
            cure = "run '/etc/clish/scripts/ipv6.sh disable' by hand")
    public native int disableIPv6();

    /**
     * Puts the network settings in force.
     *
     * @return the script's exit code, 0 to 255
     */
    @ConsoleCommand(group = "wizard", name = "apply-network", help = "Put the network settings in force.",
            codes = 0, form = ConsoleCommand.Form.EXIT_CODE)
    public native int applyNetworkSettings();

    /**
     * Kept for old consoles, which check the value themselves.
     *
     * @param value never read; may be null
     * @return 0
     */
    public native int checkIPAddr(String value);

    /**
     * Kept for old consoles, which check the value themselves.
     *
     * @param value never read; may be null
     * @return 0
     */
    public native int checkGateway(String value);

    /**
     * Kept for old consoles, which check the value themselves.
     *
     * @param value never read; may be null
     * @return 0
     */
    public native int checkDNS(String value);

    /**
     * Lists the continents that have time zones.
     *
     * @param list receives the names; not null
     * @return 0 done, 100 no command line, 101 not started, 500 null argument, 501 no Java string, 503 list
     *     refused
     */
    @ConsoleCommand(group = "wizard", name = "continents", help = "List the continents that have time zones.",
            codes = {0, 100, 101, 500, 501, 503}, empty = "there are none",
            cure = "run '/etc/tzselect continent list' by hand; its head explains its exit codes")
    public native int getContinentList(ArrayList<String> list);

    /**
     * Lists the countries of a continent.
     *
     * @param continent as listed; not null. The shell sees it inside double quotes: the caller checks it
     * @param list receives the names; not null
     * @return 0 done, 100 no command line, 101 not started, 500 null argument, 501 no Java string, 503 list
     *     refused
     */
    @ConsoleCommand(group = "wizard", name = "countries", room = 230, help = "List the countries of a continent.",
            codes = {0, 100, 101, 500, 501, 503}, empty = "there is no such continent",
            cure = "take one that 'wizard continents' lists")
    public native int getCountryList(@Arg(name = "CONTINENT", help = "Continent, as listed",
            from = Arg.Source.POSITION, shape = Arg.Shape.ZONE)
            String continent, ArrayList<String> list);

    /**
     * Lists the cities of a country that have a time zone of their own.
     *
     * @param continent as listed; not null. The shell sees it inside double quotes: the caller checks it
     * @param country as listed; not null. The shell sees it inside double quotes: the caller checks it
     * @param list receives the names; not null
     * @return 0 done, 100 no command line, 101 not started, 500 null argument, 501 no Java string, 503 list
     *     refused
     */
    @ConsoleCommand(group = "wizard", name = "cities", room = 227, help = "List the cities of a country.",
            codes = {0, 100, 101, 500, 501, 503}, empty = "there is no such continent or country",
            cure = "take names that 'wizard continents' and 'wizard countries' list")
    public native int getCityList(@Arg(name = "CONTINENT", help = "Continent, as listed", from = Arg.Source.POSITION,
            shape = Arg.Shape.ZONE)
            String continent, @Arg(name = "COUNTRY", help = "Country, as listed", from = Arg.Source.POSITION,
            shape = Arg.Shape.ZONE)
            String country, ArrayList<String> list);

    /**
     * Sets the time zone. The shell sees the three texts without quotes, so that a name with a blank arrives as
     * several words: the caller checks them and writes an underscore for a blank.
     *
     * @param continent as listed; not null
     * @param country as listed; not null
     * @param city as listed; not null
     * @return the script's wait status (exit code times 256), -1 when no shell could be started, 100 no command
     *     line, 500 null argument
     */
    @ConsoleCommand(group = "wizard", name = "set-zone", room = 236, help = "Set the time zone.",
            codes = {0, 100, 500}, form = ConsoleCommand.Form.WAIT_STATUS)
    public native int setTimeZone(@Arg(name = "CONTINENT", help = "Continent, as listed", from = Arg.Source.POSITION,
            shape = Arg.Shape.ZONE_WORD)
            String continent, @Arg(name = "COUNTRY", help = "Country, as listed", from = Arg.Source.POSITION,
            shape = Arg.Shape.ZONE_WORD)
            String country, @Arg(name = "CITY", help = "City, as listed", from = Arg.Source.POSITION,
            shape = Arg.Shape.ZONE_WORD)
            String city);

    /**
     * Sets the system's clock, in the system's own zone, and then the hardware's. Only the log tells when the first
     * failed.
     *
     * @param dateTime what date --set understands, at most 231 bytes; not null. The shell sees it inside double
     *     quotes: the caller checks it
     * @return the wait status of the hardware clock's tool (exit code times 256), -1 when no shell could be
     *     started, 100 no command line, 500 null argument
     */
    @ConsoleCommand(group = "wizard", name = "set-clock", help = "Set the clock.",
            codes = {0, 100, 500}, form = ConsoleCommand.Form.WAIT_STATUS,
            denial = "WzrdJNI\\.setDateTime nRet: \\[(?!0\\])",
            cure = "read what date itself said; give a time that exists in the appliance's zone, with root's rights")
    public native int setDateTime(@Arg(name = "TIME", help = "YYYY-MM-DD hh:mm:ss", from = Arg.Source.POSITION,
            shape = Arg.Shape.DATE_TIME, bytes = 231)
            String dateTime);

    /**
     * Tells whether the database of a parent appliance can be reached.
     *
     * @param parent address or name of the parent appliance; not null. The shell sees it inside double quotes: the
     *     caller checks it
     * @return the script's wait status (exit code times 256), -1 when no shell could be started, 100 no command
     *     line, 500 null argument
     */
    @ConsoleCommand(group = "wizard", name = "check-parent", room = 200,
            help = "Can the database of a parent appliance be reached?", codes = {0, 100, 500},
            form = ConsoleCommand.Form.WAIT_STATUS)
    public native int chkMasterDB(@Arg(name = "PARENT", help = "Address or name of the parent appliance",
            from = Arg.Source.POSITION, shape = Arg.Shape.HOST)
            String parent);

    /**
     * Reads the version of a parent appliance.
     *
     * @param parent address or name of the parent appliance; not null. The shell sees it inside double quotes: the
     *     caller checks it
     * @param list receives the one value; not null
     * @return 0 done, 100 no command line, 101 not started, 102 nothing printed, 500 null argument, 501 no Java
     *     string, 503 list refused
     */
    @ConsoleCommand(group = "wizard", name = "parent-version", room = 193,
            help = "Show the version of a parent appliance.", codes = {0, 100, 101, 102, 500, 501, 503})
    public native int getParentVersion(@Arg(name = "PARENT", help = "Address or name of the parent appliance",
            from = Arg.Source.POSITION, shape = Arg.Shape.HOST)
            String parent, ArrayList<String> list);

    /**
     * Registers this appliance with a parent, whose database it then shares.
     *
     * @param parent address or name of the parent appliance; not null. The shell sees it inside double quotes: the
     *     caller checks it
     * @return the registration's exit code, 0 to 255 (also 100 no command line), 500 null argument
     */
    @ConsoleCommand(group = "wizard", name = "register", room = 177, namesHome = true,
            help = "Register with a parent appliance.", codes = {0, 500}, form = ConsoleCommand.Form.EXIT_CODE)
    public native int regToMaster(@Arg(name = "PARENT", help = "Address or name of the parent appliance",
            from = Arg.Source.POSITION, shape = Arg.Shape.HOST)
            String parent);

    /**
     * Stops the console of this appliance and, unless the end-user quarantine needs it, its database; to be called
     * after a registration. Both stop in the background.
     *
     * @return 0
     */
    @ConsoleCommand(group = "wizard", name = "after-register", runsOnlyCommands = true,
            help = "Stop what a registered appliance no longer needs.",
            codes = 0, done = "asked for; whether the services stopped is not told")
    public native int afterRegister();

    /**
     * Restarts services and waits for it.
     *
     * @param mode 0 nothing, 1 the manager, 2 all services; anything else all but the console
     * @return the script's wait status (exit code times 256), -1 when no shell could be started; 0 for mode 0
     */
    @ConsoleCommand(group = "wizard", name = "restart", help = "Restart services.",
            codes = 0, form = ConsoleCommand.Form.WAIT_STATUS)
    public native int restartServices(@Arg(name = "MODE", help = "1 the manager, 2 all, 3 all but the console",
            from = Arg.Source.POSITION, upTo = 3)
            int mode);
}
