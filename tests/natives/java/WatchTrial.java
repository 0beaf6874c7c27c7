import com.vantrell.util.prefs.PreferenceChangeCallback;
import com.vantrell.util.prefs.RegistryPreferencesJni;

import java.io.BufferedReader;
import java.io.InputStreamReader;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.concurrent.TimeUnit;

/**
 * WatchTrial [SECONDS]: three processes change preferences, in nodes of their own and in one that they share, and this
 * one hears of it. Each writes rising numbers, of which the last of every key must be heard, and none after a higher one.
 */
public final class WatchTrial {
    private static final int USER = RegistryPreferencesJni.USER;
    private static final int WRITERS = 3;
    private static final int KEYS = 20;
    private static final long LAST_HEARD_SECONDS = 60;

    private final Map<String, Long> heard = new HashMap<>();
    private long changes;
    private long disorders;

    private WatchTrial() {}

    public static void main(String[] arguments) throws Exception {
        if (arguments.length == 3 && arguments[0].equals("write"))
            write(arguments[1], Double.parseDouble(arguments[2]));
        else
            new WatchTrial().run(arguments.length == 0 ? "5" : arguments[0]);
    }

    private static void write(String writer, double seconds) throws Exception {
        String[] nodes = {"Trial\\Own" + writer, "Trial\\Shared"};
        Random random = new Random(Long.parseLong(writer));
        long last = 0;
        Map<String, Long> finals = new HashMap<>();
        for (long end = System.nanoTime() + (long) (seconds * 1e9); System.nanoTime() < end;) {
            String node = nodes[random.nextInt(nodes.length)];
            String key = writer + "." + random.nextInt(KEYS);
            RegistryPreferencesJni.setStrValue(USER, node, key, Long.toString(++last));
            finals.put(node + " " + key, last);
            if (random.nextInt(8) == 0) // bursts with gaps
                TimeUnit.MICROSECONDS.sleep(random.nextInt(20000));
        }
        System.out.println(last);
        finals.forEach((name, value) -> System.out.println(name + " " + value));
    }

    private void run(String seconds) throws Exception {
        for (int i = 0; i <= WRITERS; ++i) {
            String node = i == WRITERS ? "Trial\\Shared" : "Trial\\Own" + i;
            RegistryPreferencesJni.createKey(USER, node, own());
            RegistryPreferencesJni.startMonitoringKey(USER, node);
        }
        Thread poller = new Thread(this::poll);
        poller.setDaemon(true);
        poller.start();

        List<Process> writers = new ArrayList<>();
        for (int i = 0; i < WRITERS; ++i)
            writers.add(new ProcessBuilder(System.getProperty("java.home") + "/bin/java", "-Xcheck:jni",
                    "-Xmx64m", "-cp", System.getProperty("java.class.path"), "WatchTrial", "write", Integer.toString(i), seconds)
                    .redirectError(ProcessBuilder.Redirect.INHERIT).start());
        long written = 0;
        Map<String, Long> finals = new HashMap<>();
        for (Process writer : writers) {
            try (BufferedReader lines = new BufferedReader(new InputStreamReader(writer.getInputStream()))) {
                written += Long.parseLong(lines.readLine());
                for (String line; (line = lines.readLine()) != null;)
                    finals.put(line.substring(0, line.lastIndexOf(' ')),
                            Long.valueOf(line.substring(line.lastIndexOf(' ') + 1)));
            }
            if (writer.waitFor() != 0)
                throw new IllegalStateException("a writer failed");
        }
        boolean all = waitFor(finals);
        RegistryPreferencesJni.terminateJniCallback();
        poller.join();
        System.out.printf("%d values written to %d keys by %d processes in %s seconds, %d changes heard, %d out of order, %s%n",
                written, finals.size(), WRITERS, seconds, changes, disorders,
                all ? "every last value heard" : "last values missing");
        System.exit(all && disorders == 0 && changes > 0 ? 0 : 1);
    }

    private void poll() {
        try {
            for (Object next; (next = RegistryPreferencesJni.getJniCallbackData()) != null;)
                hear((PreferenceChangeCallback) next);
        } catch (Exception failure) {
            failure.printStackTrace();
            System.exit(2);
        }
    }

    private synchronized void hear(PreferenceChangeCallback change) {
        ++changes;
        Long value = Long.valueOf(change.value);
        Long before = heard.put(change.path + " " + change.key, value);
        if (before != null && before >= value) {
            ++disorders;
            System.out.println(change.path + " " + change.key + ": " + value + " after " + before);
        }
        notifyAll();
    }

    private synchronized boolean waitFor(Map<String, Long> finals) throws InterruptedException {
        long end = System.nanoTime() + TimeUnit.SECONDS.toNanos(LAST_HEARD_SECONDS);
        while (!heard.equals(finals)) {
            long left = TimeUnit.NANOSECONDS.toMillis(end - System.nanoTime());
            if (left <= 0) {
                finals.forEach((name, value) -> {
                    if (!value.equals(heard.get(name)))
                        System.out.println(name + ": " + heard.get(name) + " in place of " + value);
                });
                return false;
            }
            wait(left);
        }
        return true;
    }

    @SuppressWarnings("removal")
    private static Boolean own() {
        return new Boolean(false);
    }
}
