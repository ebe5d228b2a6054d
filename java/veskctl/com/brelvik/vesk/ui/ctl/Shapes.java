package com.brelvik.vesk.ui.ctl;

import com.brelvik.vesk.ui.modelobjects.jni.Arg;
import java.net.InetAddress;
import java.net.UnknownHostException;
import java.time.DateTimeException;
import java.time.LocalDateTime;
import java.util.Locale;
import java.util.function.Predicate;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Stream;

/**
 * What a text of each shape may look like. The native side puts most texts into shell commands as they are, so what
 * passes here must mean nothing to a shell where it will stand.
 */
final class Shapes {
    private static final String LABEL = "[A-Za-z0-9]([A-Za-z0-9-]{0,61}[A-Za-z0-9])?";
    private static final String BYTE = "(25[0-5]|2[0-4]\\d|1\\d\\d|[1-9]?\\d)";
    // The last part is no number: what looks like an IPv4 address is one, or nothing.
    private static final Predicate<String> HOST_NAME =
            like("(?=.{1,253}$)(" + LABEL + "\\.)*(?!(\\d+|0[xX][0-9A-Fa-f]*)$)" + LABEL);
    private static final Predicate<String> IPV4 = like(BYTE + "(\\." + BYTE + "){3}");
    private static final Pattern URL = Pattern.compile("(?:(https?)://)?(\\[[^\\]]*\\]|[^\\[\\]:/]*)(?::(\\d{1,5}))?"
            + "(/[\\x21-\\x7e]*)?");

    /** @param allowed completes "give ..." */
    private record Rule(String allowed, Predicate<String> fits) {}

    private Shapes() {}

    /** @throws Refusal when the text is not of the shape */
    static void check(Arg arg, String text) {
        Rule rule = rule(arg.shape());
        if (!rule.fits.test(text) && !(text.isEmpty() && arg.orEmpty())) {
            throw new Refusal(Status.REFUSED, arg.name() + ": '" + Output.cut(text, 200) + "' is not what it should be",
                    "give " + rule.allowed + (arg.orEmpty() ? ", or an empty text to take the setting away" : ""));
        }
    }

    private static Rule rule(Arg.Shape shape) {
        return switch (shape) {
            case TEXT -> new Rule("a text", text -> true);
            case HOST_NAME -> new Rule("a host name: letters, digits and inner hyphens, in parts of up to 63 joined "
                    + "by dots, up to 64 in all, the last part no number", HOST_NAME.and(text -> text.length() <= 64));
            case HOST -> new Rule("a host name, an IPv4 or an IPv6 address", HOST_NAME.or(IPV4).or(Shapes::isIPv6));
            case IPV4 -> new Rule("an IPv4 address: four numbers from 0 to 255 joined by dots", IPV4);
            case IPV4_MASK -> new Rule("an IPv4 mask: ones, then zeros, such as 255.255.255.0", Shapes::isMask);
            case IPV6 -> new Rule("an IPv6 address without prefix length and zone index", Shapes::isIPv6);
            case IPV6_NETWORK -> new Rule("an IPv6 address, alone or with / and a number from 0 to 128",
                    Shapes::isIPv6Network);
            case PREFIX_LENGTH -> new Rule("a number from 1 to 128", like("[1-9]\\d?|1[01]\\d|12[0-8]"));
            case DEVICE -> new Rule("an interface: up to 15 of A-Z a-z 0-9 . _ : - that begin with a letter or digit",
                    like("[A-Za-z0-9][A-Za-z0-9._:-]{0,14}"));
            case ZONE -> new Rule("a name without quotes, $, \\ and control characters",
                    like("[^\"'`$\\\\\\p{Cntrl}]+"));
            case ZONE_WORD -> new Rule("a name as listed, of A-Z a-z 0-9 _ + - . /", like("[A-Za-z0-9_+./-]+"));
            case DATE_TIME -> new Rule("date and time that exist, as YYYY-MM-DD hh:mm:ss", Shapes::isDateTime);
            case FILE -> new Rule("a path without ' and control characters that does not begin with -",
                    like("(?!-)[^'\\p{Cntrl}]+"));
            case FILE_WORD -> new Rule("a path of A-Z a-z 0-9 . _ / - that does not begin with -",
                    like("(?!-)[A-Za-z0-9._/-]+"));
            case POSTFIX_KEY -> new Rule("a parameter's name: A-Z a-z 0-9 _", like("[A-Za-z0-9_]+"));
            case POSTFIX_VALUE -> new Rule("one line without '", like("[^'\n\r\0]*"));
            case WORD -> new Rule("a word of A-Z a-z 0-9 . _ : - that does not begin with -",
                    like("(?!-)[A-Za-z0-9._:-]+"));
            case REQUEST_WORD -> new Rule("a word of 1 to 64 of A-Z a-z 0-9 . _ : @ + -",
                    like("[A-Za-z0-9._:@+-]{1,64}"));
            case AGENT_HOST -> new Rule("a host name, an IPv4 address, or an IPv6 address in brackets",
                    Shapes::isUrlHost);
            case AGENT_ADDRESS -> new Rule("host:port, an IPv6 address in brackets, the port from 1 to 65535",
                    Shapes::isAgent);
            case AGENT_URL -> new Rule("http://host:port, an IPv6 address in brackets, the port from 1 to 65535",
                    text -> text.startsWith("http://") && isUrl(text, "http", true));
            case SERVER_URL -> new Rule("a host, host:port, or an https:// or http:// URL; an IPv6 address in brackets",
                    text -> isUrl(text, "https?", false));
            case ASCII -> new Rule("printable ASCII", like("[\\x20-\\x7e]*"));
        };
    }

    private static Predicate<String> like(String pattern) {
        return Pattern.compile(pattern).asMatchPredicate();
    }

    private static boolean isUrlHost(String text) {
        return text.startsWith("[") && text.endsWith("]") ? isIPv6(text.substring(1, text.length() - 1))
                : HOST_NAME.or(IPV4).test(text);
    }

    /** Whether the text is host:port, with or without http:// in front. */
    static boolean isAgent(String text) {
        return isUrl(text, "http", true) && !text.replaceFirst("^http://", "").contains("/");
    }

    /** The one spelling of an {@linkplain #isAgent agent's} host and port that stands for all. */
    static String peer(String agent) {
        Matcher parts = URL.matcher(agent);
        if (!parts.matches() || parts.group(3) == null) {
            return agent;
        }
        String host = parts.group(2).toLowerCase(Locale.ROOT);
        try {
            return (host.startsWith("[") ? InetAddress.getByName(host).getHostAddress() : host) + " "
                    + Integer.parseInt(parts.group(3));
        } catch (UnknownHostException e) {
            return agent;
        }
    }

    private static boolean isUrl(String text, String schemes, boolean withPort) {
        Matcher parts = URL.matcher(text);
        if (!parts.matches() || !isUrlHost(parts.group(2)) || withPort && parts.group(3) == null) {
            return false;
        }
        int port = parts.group(3) == null ? 1 : Integer.parseInt(parts.group(3));
        return port >= 1 && port <= 65535 && (parts.group(1) == null || parts.group(1).matches(schemes));
    }

    private static boolean isMask(String text) {
        if (!IPV4.test(text)) {
            return false;
        }
        int zeros = ~Stream.of(text.split("\\.")).map(Integer::valueOf).reduce(0, (mask, part) -> mask << 8 | part);
        return zeros != -1 && (zeros & zeros + 1) == 0;
    }

    // Of these characters, and with a colon, it is never taken for a name that must be looked up.
    private static boolean isIPv6(String text) {
        try {
            return text.matches("[0-9A-Fa-f:][0-9A-Fa-f:.]*:[0-9A-Fa-f:.]*") && InetAddress.getByName(text) != null;
        } catch (UnknownHostException e) {
            return false;
        }
    }

    private static boolean isIPv6Network(String text) {
        String[] parts = text.split("/", 2);
        return isIPv6(parts[0]) && (parts.length == 1 || parts[1].matches("\\d|[1-9]\\d|1[01]\\d|12[0-8]"));
    }

    private static boolean isDateTime(String text) {
        try {
            return text.matches("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d")
                    && LocalDateTime.parse(text.replace(' ', 'T')) != null;
        } catch (DateTimeException e) {
            return false;
        }
    }
}
