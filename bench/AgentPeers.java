import java.net.URI;
import java.net.http.HttpClient;
import java.net.http.HttpRequest;
import java.net.http.HttpResponse;
import java.util.Arrays;
import java.util.concurrent.CompletableFuture;

/** What Java itself offers for telling many agents at once. */
final class AgentPeers {
    private static final HttpClient CLIENT = HttpClient.newBuilder().version(HttpClient.Version.HTTP_1_1).build();

    private AgentPeers() {}

    /** How many answered with status 200. */
    static int postAll(String urls, String action, String body) {
        return Arrays.stream(urls.split(" ")).map(url -> CLIENT.sendAsync(HttpRequest.newBuilder(URI.create(url))
                .header("Content-Type", "text/xml; charset=utf-8").header("SOAPAction", '"' + action + '"')
                .POST(HttpRequest.BodyPublishers.ofString(body)).build(), HttpResponse.BodyHandlers.ofString()))
                .toList().stream().map(CompletableFuture::join).mapToInt(answer -> answer.statusCode() == 200 ? 1 : 0)
                .sum();
    }
}
