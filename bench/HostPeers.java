import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.net.Inet6Address;
import java.net.InetAddress;
import java.util.ArrayList;

/** What Java itself offers for the work of the host utilities. */
final class HostPeers {
    private HostPeers() {}

    static void processBuilder(String command, ArrayList<String> list) throws IOException, InterruptedException {
        Process process = new ProcessBuilder("/bin/sh", "-c", command).redirectErrorStream(false).start();
        try (BufferedReader lines = new BufferedReader(new InputStreamReader(process.getInputStream()))) {
            list.add(lines.readLine());
        }
        process.waitFor();
    }

    /** The address with the host bits cleared, as the JDK prints it: neither compressed nor with its length. */
    static String inet6(String text) throws IOException {
        int slash = text.indexOf('/');
        int prefix = Integer.parseInt(text.substring(slash + 1));
        byte[] bytes = InetAddress.getByName(text.substring(0, slash)).getAddress();
        for (int i = 0; i < bytes.length; i++) {
            int kept = Math.max(0, Math.min(8, prefix - 8 * i));
            bytes[i] &= (byte) (0xFF00 >> kept);
        }
        return Inet6Address.getByAddress(bytes).getHostAddress() + '/' + prefix;
    }
}
