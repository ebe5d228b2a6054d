import com.brelvik.vesk.ui.modelobjects.jni.JniInit;
import com.brelvik.vesk.ui.modelobjects.jni.LdapJNI;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Hashtable;
import javax.naming.NamingEnumeration;
import javax.naming.directory.SearchControls;
import javax.naming.directory.SearchResult;
import javax.naming.ldap.Control;
import javax.naming.ldap.InitialLdapContext;
import javax.naming.ldap.LdapContext;
import javax.naming.ldap.PagedResultsControl;
import javax.naming.ldap.PagedResultsResponseControl;

/** The bridge as the console calls it, against the JDK's own directory client, in one warm VM. */
final class DirectoryBench {
    private static final String BASE = "dc=example,dc=com";
    private static final String ADMIN = "cn=admin,dc=example,dc=com";
    private static final String USER = "uid=p05000,ou=people,dc=example,dc=com";
    private static final String USER_PASSWORD = "secret-p05000";
    private static final String MAIL = "p05000@example.com";
    private static final String USERS = "(|(objectClass=inetOrgPerson)(objectClass=posixAccount))";
    private static final String GROUPS =
            "(|(objectClass=groupOfNames)(objectClass=groupOfUniqueNames)(objectClass=posixGroup))";
    private static final int PAGE = 500;
    private static final int OPENLDAP = 1;

    interface Work {
        void run() throws Exception;
    }

    private final int port;
    private final String password;

    private DirectoryBench(String[] arguments) throws Exception {
        port = Integer.parseInt(arguments[1]);
        password = Files.readString(Path.of(arguments[2])).strip();
    }

    public static void main(String[] arguments) throws Exception {
        DirectoryBench bench = new DirectoryBench(arguments);
        if (arguments[0].equals("start")) {
            bench.start();
        } else {
            require(new JniInit().initializeJNI() == 0, "initializeJNI failed");
            bench.compareAll(Integer.parseInt(arguments[3]) + Integer.parseInt(arguments[4]));
        }
    }

    /** From the loading of the library to the first answer of a directory, once in a process. */
    private void start() {
        long begin = System.nanoTime();
        require(new JniInit().initializeJNI() == 0, "initializeJNI failed");
        long initialised = System.nanoTime();
        int code = new LdapJNI().checkBaseDN(OPENLDAP, 0, "127.0.0.1", port, ADMIN, password, BASE);
        long answered = System.nanoTime();
        require(code == 0, "checkBaseDN failed");
        print("start, library loaded and initialised", "bridge", initialised - begin, 1);
        print("start, to the first directory answer", "bridge", answered - begin, 1);
    }

    private void compareAll(int names) throws Exception {
        LdapJNI bridge = new LdapJNI();
        compare("Java: list all users and groups", 15, 1, () -> {
            LdapContext context = connect(ADMIN, password);
            int count = list(context, GROUPS, "cn").size() + list(context, USERS, "uid").size();
            context.close();
            require(count == names, "the JDK did not list everything");
        }, () -> {
            ArrayList<String> list = new ArrayList<>();
            bridge.browseLDAP(OPENLDAP, 0, "127.0.0.1", port, ADMIN, password, BASE, false, list);
            require(list.size() == names, "the bridge did not list everything");
        });
        compare("Java: one user by mail", 31, 20, () -> {
            LdapContext context = connect(ADMIN, password);
            require(list(context, "(&(|" + USERS + GROUPS + ")(mail=" + MAIL + "))", "uid").size() == 1, "nobody");
            context.close();
        }, () -> {
            ArrayList<String> list = new ArrayList<>();
            bridge.getUserByMail(OPENLDAP, 0, "127.0.0.1", port, ADMIN, password, BASE, bytes(MAIL), null, list);
            require(list.size() == 1, "nobody");
        });
        compare("Java: bind test", 31, 20, () -> connect(USER, USER_PASSWORD).close(), () -> require(
                bridge.authenticateUTF8(OPENLDAP, 0, "127.0.0.1", port, bytes(USER), bytes(USER_PASSWORD)) == 0,
                "refused"));
    }

    private LdapContext connect(String user, String secret) throws Exception {
        Hashtable<String, String> environment = new Hashtable<>();
        environment.put("java.naming.factory.initial", "com.sun.jndi.ldap.LdapCtxFactory");
        environment.put("java.naming.provider.url", "ldap://127.0.0.1:" + port);
        environment.put("java.naming.security.authentication", "simple");
        environment.put("java.naming.security.principal", user);
        environment.put("java.naming.security.credentials", secret);
        return new InitialLdapContext(environment, null);
    }

    private static ArrayList<String> list(LdapContext context, String filter, String attribute) throws Exception {
        SearchControls search = new SearchControls();
        search.setSearchScope(SearchControls.SUBTREE_SCOPE);
        search.setReturningAttributes(new String[] {attribute});
        ArrayList<String> names = new ArrayList<>();
        byte[] cookie = null;
        do {
            context.setRequestControls(new Control[] {new PagedResultsControl(PAGE, cookie, Control.NONCRITICAL)});
            NamingEnumeration<SearchResult> found = context.search(BASE, filter, search);
            while (found.hasMore()) {
                names.add((String) found.next().getAttributes().get(attribute).get());
            }
            cookie = nextPage(context.getResponseControls());
        } while (cookie != null);
        return names;
    }

    private static byte[] nextPage(Control[] controls) {
        if (controls != null) {
            for (Control control : controls) {
                if (control instanceof PagedResultsResponseControl) {
                    return ((PagedResultsResponseControl) control).getCookie();
                }
            }
        }
        return null;
    }

    /** As the C++ benchmarks do it; a third of the rounds again goes before, for the VM to compile. */
    private static void compare(String figure, int rounds, int repeats, Work jdk, Work bridge) throws Exception {
        double[][] times = new double[2][rounds];
        double[] shares = new double[rounds];
        for (int round = -rounds / 3; round < rounds; round++) {
            boolean first = round % 2 == 0;
            double a = first ? time(jdk, repeats) : 0;
            double b = time(bridge, repeats);
            if (!first) {
                a = time(jdk, repeats);
            }
            if (round >= 0) {
                times[0][round] = a;
                times[1][round] = b;
                shares[round] = b / a;
            }
        }
        print(figure, "JDK's client", median(times[0]), 1);
        print(figure, "bridge", median(times[1]), median(shares));
    }

    private static double time(Work work, int repeats) throws Exception {
        long begin = System.nanoTime();
        for (int i = 0; i < repeats; i++) {
            work.run();
        }
        return (System.nanoTime() - begin) / (double) repeats;
    }

    private static double median(double[] values) {
        double[] sorted = values.clone();
        Arrays.sort(sorted);
        return sorted[sorted.length / 2];
    }

    private static void print(String figure, String name, double nanoseconds, double share) {
        System.out.printf("%s\t%s\t%.0f us\t%.2f%n", figure, name, nanoseconds / 1000, share);
    }

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }

    private static void require(boolean done, String what) {
        if (!done) {
            throw new IllegalStateException(what);
        }
    }
}
