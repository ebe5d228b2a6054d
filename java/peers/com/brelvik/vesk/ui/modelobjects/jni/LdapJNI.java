package com.brelvik.vesk.ui.modelobjects.jni;

import com.brelvik.vesk.ui.modelobjects.ResultCode;
import java.util.ArrayList;

/**
 * Directory services. Each method but {@link #notifyLdapCacheSyncFail} opens a connection of its own from its
 * arguments, never from saved settings, does one job and closes the connection; only {@link #getUserByMail} leaves it
 * open in two cases, until the process ends. All of them may be called from several threads, after
 * {@link JniInit#initializeJNI}.
 *
 * <p>Arguments that the methods share:
 *
 * <dl>
 *   <dt>vendor</dt><dd>a {@link com.brelvik.vesk.ui.modelobjects.LdapVendor}; an unknown value is served as generic
 *   <dt>authType</dt><dd>an {@link com.brelvik.vesk.ui.modelobjects.AuthType}; an unknown value gives 201
 *   <dt>host</dt><dd>name, IPv4 address, or IPv6 address with or without brackets
 *   <dt>port</dt><dd>1 to 65535
 *   <dt>bindUser, bindPassword</dt><dd>the account to work with; both empty for an anonymous session. One of them
 *       empty gives 201
 *   <dt>baseDN</dt><dd>the entry below which to look
 *   <dt>resultList</dt><dd>receives the answer at its end; what it holds stays, and with a code other than 0
 *       nothing is added. A list whose {@code add} refuses gives 0 all the same and keeps the elements added
 *       before; so it does when {@code add} throws, and the method throws the same
 * </dl>
 *
 * <p>Byte arrays hold UTF-8, are read up to the first zero byte and cut without notice at the number of bytes stated.
 *
 * <p>A call waits at most the time-outs of {@code vesk.ini}, section LDAP: 5 seconds to connect and 30 seconds in all
 * unless set otherwise. The log says why a call failed. Every method answers 500 when an argument is null that must not
 * be, before it connects, and 200 when no connection could be made for want of memory.
 */
public final class LdapJNI {
    static {
        NativeLibrary.load();
    }

    /**
     * Tests an account's password with a bind.
     *
     * @param vendor kind of server
     * @param authType how the account proves itself
     * @param host server; not null
     * @param port its port
     * @param user login name or DN, at most 256 bytes; not null
     * @param password at most 255 bytes; not null. An empty one is refused without asking the server
     * @return 0 accepted, 200 no memory, 201 not connected, 203 refused, 500 null argument
     */
    @ConsoleCommand(group = "directory", name = "authenticate", help = "Test an account's password.",
            codes = {0, 200, 201, 203, 500})
    public native int authenticateUTF8(@Directory.Vendor int vendor, @Directory.Auth int authType,
            @Directory.Host String host, @Directory.Port int port,
            @Arg(name = "ACCOUNT", help = "Login name or DN", from = Arg.Source.POSITION, bytes = 256) byte[] user,
            @Arg(name = "password", help = "Password of the account", from = Arg.Source.SECRET, bytes = 255)
            byte[] password);

    /**
     * Searches the whole subtree with a filter and lists every value of one attribute of every hit, in the server's
     * order.
     *
     * @param vendor kind of server
     * @param authType how the bind account proves itself
     * @param host server; not null
     * @param port its port
     * @param bindUser account to work with; not null
     * @param bindPassword its password; not null
     * @param baseDN entry to look below; not null
     * @param searchStr RFC 4515 filter, sent as it is, at most 511 bytes; not null
     * @param attrStr attribute, at most 511 bytes; null reads as the empty name
     * @param resultList receives the values; not null
     * @return 0 done (also without a hit), 200 no memory, 201 not connected, 205 query failed, 206 base DN missing or
     *     malformed, 207 limit hit, 500 null argument
     */
    @ConsoleCommand(group = "directory", name = "find", help = "List an attribute of all entries that match a filter.",
            codes = {0, 200, 201, 205, 206, 207, 500})
    public native int directSearchLDAPUTF8(@Directory.Vendor int vendor, @Directory.Auth int authType,
            @Directory.Host String host, @Directory.Port int port, @Directory.BindUser String bindUser,
            @Directory.BindPassword String bindPassword, @Directory.BaseDN String baseDN,
            @Arg(name = "FILTER", help = "RFC 4515 filter, e.g. (uid=ann*)", from = Arg.Source.POSITION, bytes = 511)
            byte[] searchStr,
            @Arg(name = "ATTRIBUTE", help = "Attribute to list", from = Arg.Source.POSITION, bytes = 511)
            byte[] attrStr, ArrayList<String> resultList);

    /**
     * Lists the users and then the groups whose name, display name or mail matches a text.
     *
     * @param vendor kind of server; its script says what users and groups are
     * @param authType how the bind account proves itself
     * @param host server; not null
     * @param port its port
     * @param bindUser account to work with; not null
     * @param bindPassword its password; not null
     * @param baseDN entry to look below; not null
     * @param searchStr text with {@code *} as wildcard, at most 511 bytes; not null
     * @param groupOnly whether to leave out the users
     * @param resultList receives the names; not null
     * @return 0 done (also without a hit), 200 no memory, 201 not connected, 205 query failed, 206 base DN missing or
     *     malformed, 207 limit hit, 500 null argument
     */
    @ConsoleCommand(group = "directory", name = "search", help = "List users and groups that match a text.",
            codes = {0, 200, 201, 205, 206, 207, 500})
    public native int searchLDAPUTF8(@Directory.Vendor int vendor, @Directory.Auth int authType,
            @Directory.Host String host, @Directory.Port int port, @Directory.BindUser String bindUser,
            @Directory.BindPassword String bindPassword, @Directory.BaseDN String baseDN,
            @Arg(name = "TEXT", help = "Name, display name or mail; * is a wildcard", from = Arg.Source.POSITION,
                    bytes = 511)
            byte[] searchStr, @Directory.GroupsOnly boolean groupOnly, ArrayList<String> resultList);

    /**
     * Lists all users and then all groups.
     *
     * @param vendor kind of server; its script says what users and groups are
     * @param authType how the bind account proves itself
     * @param host server; not null
     * @param port its port
     * @param bindUser account to work with; not null
     * @param bindPassword its password; not null
     * @param baseDN entry to look below; not null
     * @param groupOnly whether to leave out the users
     * @param resultList receives the names; not null
     * @return 0 done, 200 no memory, 201 not connected, 205 query failed, 206 base DN missing or malformed, 207 limit
     *     hit, 500 null argument
     */
    @ConsoleCommand(group = "directory", name = "browse", help = "List all users and groups.",
            codes = {0, 200, 201, 205, 206, 207, 500})
    public native int browseLDAP(@Directory.Vendor int vendor, @Directory.Auth int authType,
            @Directory.Host String host, @Directory.Port int port, @Directory.BindUser String bindUser,
            @Directory.BindPassword String bindPassword, @Directory.BaseDN String baseDN,
            @Directory.GroupsOnly boolean groupOnly, ArrayList<String> resultList);

    /**
     * Tells whether a user or group is a group or lies in it, directly or through other groups. Equal names are a yes
     * without asking the server; otherwise case does not count. A name that is both a group's and a user's is taken for
     * the group, and if that group lies in no group, for the user.
     *
     * @param vendor kind of server; its script says what users and groups are
     * @param authType how the bind account proves itself
     * @param host server; not null
     * @param port its port
     * @param bindUser account to work with; not null
     * @param bindPassword its password; not null
     * @param baseDN entry to look below; not null
     * @param member name of the user or group, at most 511 bytes; not null
     * @param group name of the group, at most 511 bytes; not null
     * @return 0 member, 200 no memory, 201 not connected, 204 not a member or its groups could not be read, 500 null
     *     argument
     */
    @ConsoleCommand(group = "directory", name = "member-of", help = "Is a user or group in a group, also indirectly?",
            codes = {0, 200, 201, 204, 500})
    public native int isLDAPGroupContainAnotherUTF8(@Directory.Vendor int vendor, @Directory.Auth int authType,
            @Directory.Host String host, @Directory.Port int port, @Directory.BindUser String bindUser,
            @Directory.BindPassword String bindPassword, @Directory.BaseDN String baseDN,
            @Arg(name = "MEMBER", help = "Name of the user or group", from = Arg.Source.POSITION, bytes = 511)
            byte[] member,
            @Arg(name = "GROUP", help = "Name of the group", from = Arg.Source.POSITION, bytes = 511) byte[] group);

    /**
     * Tells whether a login name belongs to an account.
     *
     * @param vendor kind of server; its script says what users are
     * @param authType how the bind account proves itself
     * @param host server; not null
     * @param port its port
     * @param bindUser account to work with; not null
     * @param bindPassword its password; not null
     * @param baseDN entry to look below; not null
     * @param account login name, DN or principal; not null
     * @return 0 it does, 200 no memory, 201 not connected, 202 it does not, 500 null argument
     */
    @ConsoleCommand(group = "directory", name = "account", help = "Does a login name belong to an account?",
            codes = {0, 200, 201, 202, 500})
    public native int isAccountExist(@Directory.Vendor int vendor, @Directory.Auth int authType,
            @Directory.Host String host, @Directory.Port int port, @Directory.BindUser String bindUser,
            @Directory.BindPassword String bindPassword, @Directory.BaseDN String baseDN,
            @Arg(name = "ACCOUNT", help = "Login name, DN or principal", from = Arg.Source.POSITION) String account);

    /**
     * Names the user or group that owns a mail address. The attribute that holds addresses is {@code mail_attr} in
     * {@code vesk.ini}, section LDAP, or {@code mail}. When nobody owns the address (0, nothing added) and on 205, the
     * connection stays open until the process ends.
     *
     * @param vendor kind of server; its script says what users and groups are
     * @param authType how the bind account proves itself
     * @param host server; not null
     * @param port its port
     * @param bindUser account to work with; not null
     * @param bindPassword its password; not null
     * @param baseDN entry to look below; not null
     * @param email address, at most 511 bytes; not null
     * @param ignored never read; may be null
     * @param resultList receives the one name, or nothing when nobody owns the address; not null
     * @return 0 done (also without an owner), 200 no memory, 201 not connected, 205 query failed, 500 null argument
     */
    @ConsoleCommand(group = "directory", name = "by-mail", help = "Who owns a mail address?",
            codes = {0, 200, 201, 205, 500})
    public native int getUserByMail(@Directory.Vendor int vendor, @Directory.Auth int authType,
            @Directory.Host String host, @Directory.Port int port, @Directory.BindUser String bindUser,
            @Directory.BindPassword String bindPassword, @Directory.BaseDN String baseDN,
            @Arg(name = "ADDRESS", help = "Mail address", from = Arg.Source.POSITION, bytes = 511) byte[] email,
            String ignored, ArrayList<String> resultList);

    /**
     * Tells whether a base DN names an entry.
     *
     * @param vendor kind of server
     * @param authType how the bind account proves itself
     * @param host server; not null
     * @param port its port
     * @param bindUser account to work with; not null
     * @param bindPassword its password; not null
     * @param baseDN the DN in question; not null
     * @return 0 it does, 200 no memory, 201 not connected, 208 it does not, 500 null argument
     */
    @ConsoleCommand(group = "directory", name = "check-base", help = "Does the base DN name an entry?",
            codes = {0, 200, 201, 208, 500})
    public native int checkBaseDN(@Directory.Vendor int vendor, @Directory.Auth int authType,
            @Directory.Host String host, @Directory.Port int port, @Directory.BindUser String bindUser,
            @Directory.BindPassword String bindPassword, @Directory.BaseDN String baseDN);

    /**
     * Queues a mail that tells the administrator of a failed synchronisation of the directory cache, in the language of
     * the process's locale. Recipients, sender, character set and queue folder come from {@code vesk.ini}: sections
     * {@code General-Notification} ({@code Administrator}, {@code MailFrom}, {@code PreferredCharset}) and
     * {@code general} ({@code queue_notify}). A second call within the same second queues no second mail.
     *
     * @return 0 done, also when the mail could not be written, which only the log tells; -1 no administrator address is
     *     set
     */
    @ConsoleCommand(group = "directory", name = "notify-sync-failure",
            help = "Queue the mail about a failed cache synchronisation.", codes = 0,
            done = "the mail is queued in the folder that queue_notify names",
            denial = "Could not construct the notification mail", queues = "ldapcachesync_*.AF",
            own = @OwnCode(code = -1, name = "NO_ADMINISTRATOR", kind = ResultCode.Kind.REFUSED,
                    meaning = "no administrator address is set, so nobody can be told",
                    cures = "set Administrator in section General-Notification of vesk.ini"))
    public native int notifyLdapCacheSyncFail();
}
