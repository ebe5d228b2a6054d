package com.brelvik.vesk.ui.modelobjects.jni;

import java.util.ArrayList;

/** Directory services. */
public final class LdapJNI {
    static {
        NativeLibrary.load();
    }

    public native int authenticateUTF8(int vendor, int authType, String host, int port, byte[] user, byte[] password);

    public native int directSearchLDAPUTF8(int vendor, int authType, String host, int port, String bindUser,
            String bindPassword, String baseDN, byte[] searchStr, byte[] attrStr, ArrayList<String> resultList);

    public native int searchLDAPUTF8(int vendor, int authType, String host, int port, String bindUser,
            String bindPassword, String baseDN, byte[] searchStr, boolean groupOnly, ArrayList<String> resultList);

    public native int browseLDAP(int vendor, int authType, String host, int port, String bindUser,
            String bindPassword, String baseDN, boolean groupOnly, ArrayList<String> resultList);

    public native int isLDAPGroupContainAnotherUTF8(int vendor, int authType, String host, int port, String bindUser,
            String bindPassword, String baseDN, byte[] member, byte[] group);

    public native int isAccountExist(int vendor, int authType, String host, int port, String bindUser,
            String bindPassword, String baseDN, String account);

    public native int getUserByMail(int vendor, int authType, String host, int port, String bindUser,
            String bindPassword, String baseDN, byte[] email, String ignored, ArrayList<String> resultList);

    public native int checkBaseDN(int vendor, int authType, String host, int port, String bindUser,
            String bindPassword, String baseDN);
}
