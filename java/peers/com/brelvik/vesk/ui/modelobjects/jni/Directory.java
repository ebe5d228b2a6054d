package com.brelvik.vesk.ui.modelobjects.jni;

import com.brelvik.vesk.ui.modelobjects.AuthType;
import com.brelvik.vesk.ui.modelobjects.LdapVendor;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;

/** The connection arguments that the directory methods share. */
final class Directory {
    private Directory() {}

    @Arg(name = "vendor", help = "Kind of server", fallback = "generic", words = LdapVendor.class)
    @Retention(RetentionPolicy.RUNTIME)
    @interface Vendor {}

    @Arg(name = "auth", help = "How the account proves itself", fallback = "simple", words = AuthType.class)
    @Retention(RetentionPolicy.RUNTIME)
    @interface Auth {}

    @Arg(name = "host", help = "Name, IPv4 or IPv6 address of the server", fallback = "127.0.0.1")
    @Retention(RetentionPolicy.RUNTIME)
    @interface Host {}

    @Arg(name = "port", help = "Port of the server; 636 and 3269 mean TLS", fallback = "389", upTo = 65535)
    @Retention(RetentionPolicy.RUNTIME)
    @interface Port {}

    @Arg(name = "bind-user", help = "Account to bind with; empty for an anonymous session", fallback = "")
    @Retention(RetentionPolicy.RUNTIME)
    @interface BindUser {}

    @Arg(name = "bind-password", help = "Password of the bind account", from = Arg.Source.SECRET)
    @Retention(RetentionPolicy.RUNTIME)
    @interface BindPassword {}

    @Arg(name = "base-dn", help = "Entry to work below")
    @Retention(RetentionPolicy.RUNTIME)
    @interface BaseDN {}

    @Arg(name = "groups-only", help = "Leave out the users")
    @Retention(RetentionPolicy.RUNTIME)
    @interface GroupsOnly {}
}
