import com.vantrell.util.WindowsConsoleJni;
import com.vantrell.util.prefs.PreferenceChangeCallback;
import com.vantrell.util.prefs.RegistryPreferencesJni;

import java.util.Arrays;
import java.util.concurrent.BlockingQueue;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;

/** Every native method, from Java. The virtual machine's own checks of JNI calls run beside it. */
public final class NativesTest {
    private static final int USER = RegistryPreferencesJni.USER;
    private static final int SYSTEM = RegistryPreferencesJni.SYSTEM;
    private static final String NO_KEY = "IllegalArgumentException: Key is empty.";
    private static final String NO_PARENT = "IllegalArgumentException: Parent key is empty.";

    private static final String OPEN =
            "IllegalArgumentException: Open registry key <*>. Invalid argument: <87:Invalid argument>.";
    private static final String LONG_NODE =
            "IllegalArgumentException: Child node name length value N is above maximum of 80.";

    private interface Call {
        Object with(String text) throws Exception;
    }

    private NativesTest() {}

    public static void main(String[] arguments) throws Exception {
        keysComeAndGo();
        valuesComeBack();
        everyTextArgument();
        failures();
        changesAreHeard();
        Expect.finish();
    }

    @SuppressWarnings("removal") // what a native method overwrites must be an object of its own
    private static Boolean own(boolean value) {
        return new Boolean(value);
    }

    private static void keysComeAndGo() throws Exception {
        Boolean created = own(true);
        Boolean same = created;
        RegistryPreferencesJni.createKey(USER, "Test\\Keys", created);
        Expect.equal(false, same, "a new key was not there before");
        RegistryPreferencesJni.createKey(USER, "Test\\Keys", created);
        Expect.equal(true, same, "the same object tells that it was");
        Expect.equal(true, Boolean.TRUE, "nobody else's object changed");
        for (String name : new String[] {"b", "a", "\u00e4\ud83d\ude00"})
            RegistryPreferencesJni.createKey(USER, "Test\\Keys\\" + name, created);
        String[] names = RegistryPreferencesJni.getKeys(USER, "Test\\Keys");
        Arrays.sort(names);
        Expect.equal("[a, b, \u00e4\ud83d\ude00]", Arrays.toString(names), "children");
        Expect.equal("[]", Arrays.toString(RegistryPreferencesJni.getKeys(USER, "Test\\Keys\\a")), "no children");
        RegistryPreferencesJni.createKey(SYSTEM, "Test\\Other", created);
        Expect.equal("[Other]", Arrays.toString(RegistryPreferencesJni.getKeys(SYSTEM, "Test")), "the other root");
        RegistryPreferencesJni.deleteKey(USER, "Test\\Keys");
        Expect.equal("[]", Arrays.toString(RegistryPreferencesJni.getKeys(USER, "Test")), "gone with all below");
        Expect.equal("IllegalArgumentException: Created value is NULL.",
                Expect.outcome(() -> create("Test\\Nothing", null)), "nowhere to tell");
        Expect.equal("[]", Arrays.toString(RegistryPreferencesJni.getKeys(USER, "Test")), "nothing was made");
    }

    private static Object create(String key, Boolean created) throws Exception {
        RegistryPreferencesJni.createKey(USER, key, created);
        return created;
    }

    private static void valuesComeBack() throws Exception {
        RegistryPreferencesJni.createKey(USER, "Test\\Values", own(false));
        for (int number : new int[] {0, 7, -1, Integer.MIN_VALUE, Integer.MAX_VALUE}) {
            RegistryPreferencesJni.setIntValue(USER, "Test\\Values", "number", number);
            Expect.equal(number, RegistryPreferencesJni.getIntValue(USER, "Test\\Values", "number", 5), "a number");
        }
        Expect.equal("2147483647", RegistryPreferencesJni.getStrValue(USER, "Test\\Values", "number"), "as text");
        RegistryPreferencesJni.setStrValue(USER, "Test\\Values", "text", "no number");
        Expect.equal(5, RegistryPreferencesJni.getIntValue(USER, "Test\\Values", "text", 5), "the default");
        RegistryPreferencesJni.setStrValue(USER, "Test\\Values", "empty", "");
        Expect.equal("", RegistryPreferencesJni.getStrValue(USER, "Test\\Values", "empty"), "an empty value");
        String[] names = RegistryPreferencesJni.getKeysWithValue(USER, "Test\\Values");
        Arrays.sort(names);
        Expect.equal("[number, text]", Arrays.toString(names), "those that have a value");
        RegistryPreferencesJni.deleteValue(USER, "Test\\Values", "text");
        Expect.that(Expect.outcome(() -> RegistryPreferencesJni.getStrValue(USER, "Test\\Values", "text"))
                .startsWith("Exception: "), "a value that was deleted");
    }

    /** Each text argument of each method: plain, empty, null, a lone surrogate, 8,192 and 8,193 characters. */
    private static void everyTextArgument() throws Exception {
        RegistryPreferencesJni.createKey(USER, "Test\\Texts", own(false));
        RegistryPreferencesJni.setStrValue(USER, "Test\\Texts", "plain", "old");
        String create = OPEN.replace("Open", "Create");
        String deletion = OPEN.replace("Open", "Delete");
        everyText("createKey", NO_KEY, "false", create, text -> create(text, own(true)));
        everyText("setStrValue, parent", NO_PARENT, "", OPEN, text -> set(text, "plain", "v"));
        everyText("setStrValue, key", NO_KEY, "", "", text -> set("Test\\Texts", text, "v"));
        everyText("getStrValue, parent", NO_PARENT, "v", OPEN, text -> get(text, "plain"));
        everyText("getStrValue, key", NO_KEY, "v", "v", text -> get("Test\\Texts", text));
        everyText("setIntValue, parent", NO_PARENT, "", OPEN, text -> setInt(text, "number", 1));
        everyText("setIntValue, key", NO_KEY, "", "", text -> setInt("Test\\Texts", text, 1));
        everyText("getIntValue, parent", NO_PARENT, "1", OPEN,
                text -> RegistryPreferencesJni.getIntValue(USER, text, "number", 2));
        everyText("getIntValue, key", NO_KEY, "1", "1",
                text -> RegistryPreferencesJni.getIntValue(USER, "Test\\Texts", text, 2));
        everyText("getKeys", NO_KEY, "[]", OPEN, text -> Arrays.toString(RegistryPreferencesJni.getKeys(USER, text)));
        everyText("getKeysWithValue", NO_KEY, "[number, plain]", OPEN,
                text -> Arrays.toString(RegistryPreferencesJni.getKeysWithValue(USER, text)));
        everyText("startMonitoringKey", NO_KEY, "", LONG_NODE, text -> monitor(text, true));
        everyText("stopMonitoringKey", NO_KEY, "", LONG_NODE, text -> monitor(text, false));
        everyText("deleteValue, parent", NO_PARENT, "", OPEN, text -> delete(text, "plain"));
        everyText("deleteValue, key", NO_KEY, "", "", text -> delete("Test\\Texts", text));
        everyText("deleteKey", NO_KEY, "", deletion, text -> deleteKey(text));
        everyText("setConsoleTitle", "-1", "-1", "-1", text -> WindowsConsoleJni.setConsoleTitle(text)); // no terminal
        Expect.equal("", WindowsConsoleJni.getConsoleTitle(), "the title without a terminal");

        for (String value : new String[] {"plain", "", "\ud83d\ude00\u00e4\u0001", "\ud800", "x\udc00y", "x".repeat(8192)}) {
            set("Test\\Texts", "value", value);
            Expect.equal(value, get("Test\\Texts", "value"), "the value that was set");
        }
        set("Test\\Texts", "value", "x".repeat(8193));
        Expect.that(Expect.outcome(() -> get("Test\\Texts", "value")).startsWith("Exception: Get registry key <value>"),
                "a value that is too long to be read");
        Expect.that(Expect.outcome(() -> create("x".repeat(8192), own(false)))
                .startsWith("IllegalArgumentException: Create registry key <x"), "a name that is too long");
        set("Test\\Texts", "value", null);
        Expect.equal("", get("Test\\Texts", "value"), "null is empty");
        set("Test\\Texts", "value", "before\0behind");
        Expect.equal("before", get("Test\\Texts", "value"), "a text ends at its first zero");
    }

    /** In an outcome a star stands for the text, and N for its length. */
    private static void everyText(String what, String ifEmpty, String usual, String ifLong, Call call) {
        Expect.equal(ifEmpty, Expect.outcome(() -> call.with("")), what + ": empty");
        Expect.equal(ifEmpty, Expect.outcome(() -> call.with(null)), what + ": null");
        for (String text : new String[] {"plain", "\ud800", "x\udc00y"})
            Expect.equal(usual, Expect.outcome(() -> call.with(text)), what + ": " + text);
        for (String text : new String[] {"x".repeat(8192), "x".repeat(8193)})
            Expect.equal(ifLong, Expect.outcome(() -> call.with(text)).replace(text, "*")
                    .replace(Integer.toString(text.length()), "N"), what + ": " + text.length() + " characters");
    }

    private static Object set(String parent, String key, String value) throws Exception {
        RegistryPreferencesJni.setStrValue(USER, parent, key, value);
        return "";
    }

    private static Object setInt(String parent, String key, int value) throws Exception {
        RegistryPreferencesJni.setIntValue(USER, parent, key, value);
        return "";
    }

    private static String get(String parent, String key) throws Exception {
        return RegistryPreferencesJni.getStrValue(USER, parent, key);
    }

    private static Object delete(String parent, String key) throws Exception {
        RegistryPreferencesJni.deleteValue(USER, parent, key);
        return "";
    }

    private static Object deleteKey(String key) throws Exception {
        RegistryPreferencesJni.deleteKey(USER, key);
        return "";
    }

    private static Object monitor(String key, boolean on) throws Exception {
        if (on)
            RegistryPreferencesJni.startMonitoringKey(USER, key);
        else
            RegistryPreferencesJni.stopMonitoringKey(USER, key);
        return "";
    }

    private static void failures() throws Exception {
        Expect.that(Expect.outcome(() -> get("Test\\Nowhere", "x")).startsWith("Exception: "), "no such key");
        Expect.that(Expect.outcome(() -> RegistryPreferencesJni.getStrValue(0, "Test", "x"))
                .startsWith("IllegalArgumentException: "), "no such root");
        Expect.that(Expect.outcome(() -> RegistryPreferencesJni.getKeys(5, "Test"))
                .startsWith("IllegalArgumentException: "), "no such root");
        Expect.equal("IllegalArgumentException: Listener value is NULL.",
                Expect.outcome(() -> monitor("Test\\Unheard", false)), "never monitored");
        RegistryPreferencesJni.initLogging(null, null); // throws nothing
    }

    private static void changesAreHeard() throws Exception {
        BlockingQueue<String> heard = new LinkedBlockingQueue<>();
        Thread poller = new Thread(() -> {
            try {
                for (Object next; (next = RegistryPreferencesJni.getJniCallbackData()) != null;) {
                    PreferenceChangeCallback change = (PreferenceChangeCallback) next;
                    heard.add(Integer.toHexString(change.root) + " " + change.path + " " + change.key + "=" + change.value);
                }
                heard.add("null");
            } catch (Throwable thrown) {
                heard.add(thrown.toString());
            }
        });
        poller.setDaemon(true); // it does not outlive a failure
        poller.start();
        RegistryPreferencesJni.createKey(USER, "Test\\Heard", own(false));
        RegistryPreferencesJni.createKey(SYSTEM, "Test\\Heard", own(false));
        RegistryPreferencesJni.startMonitoringKey(USER, "Test\\Heard");
        RegistryPreferencesJni.startMonitoringKey(USER, "Test\\Heard"); // one listener all the same
        RegistryPreferencesJni.startMonitoringKey(SYSTEM, "Test\\Heard");
        RegistryPreferencesJni.startMonitoringKey(7, "Test\\ByAnother"); // the user's too

        set("Test\\Heard", "key", "value");
        Expect.equal("80000001 Test\\Heard key=value", next(heard), "a change");
        set("Test\\Heard", "key", "x".repeat(8192));
        Expect.equal("80000001 Test\\Heard key=" + "x".repeat(8192), next(heard), "a long one");
        RegistryPreferencesJni.setIntValue(SYSTEM, "Test\\Heard", "key", 5);
        Expect.equal("80000002 Test\\Heard key=5", next(heard), "in the other root");
        RegistryPreferencesJni.deleteValue(USER, "Test\\Heard", "key");
        Expect.equal("80000001 Test\\Heard key=", next(heard), "a deletion");
        set("Test\\ByAnother", "key", "value");
        Expect.equal("80000001 Test\\ByAnother key=value", next(heard), "under a root that is none");

        monitor("Test\\Heard", false);
        Expect.equal("IllegalArgumentException: Listener value is NULL.",
                Expect.outcome(() -> monitor("Test\\Heard", false)), "once was enough");
        set("Test\\Heard", "key", "unheard");
        RegistryPreferencesJni.setStrValue(SYSTEM, "Test\\Heard", "key", "last");
        Expect.equal("80000002 Test\\Heard key=last", next(heard), "what is monitored still");
        startsAndStopsMeet();

        RegistryPreferencesJni.terminateJniCallback();
        Expect.equal("null", next(heard), "the end");
        poller.join();
        Expect.equal(null, RegistryPreferencesJni.getJniCallbackData(), "and it stays so");
        RegistryPreferencesJni.terminateJniCallback(); // a second time
    }

    private static String next(BlockingQueue<String> heard) throws InterruptedException {
        String text = heard.poll(60, TimeUnit.SECONDS);
        return text == null ? "nothing" : text;
    }

    /** Threads that begin and end monitoring one key leave a listener behind in neither place. */
    private static void startsAndStopsMeet() throws Exception {
        Thread[] threads = new Thread[4];
        for (int i = 0; i < threads.length; ++i) {
            threads[i] = new Thread(() -> {
                for (int round = 0; round < 50; ++round) {
                    Expect.equal("", Expect.outcome(() -> monitor("Test\\Meeting", true)), "start");
                    String stopped = Expect.outcome(() -> monitor("Test\\Meeting", false));
                    Expect.that(stopped.isEmpty() || stopped.contains("Listener value is NULL."), stopped);
                }
            });
            threads[i].start();
        }
        for (Thread thread : threads)
            thread.join();
        Expect.that(Expect.outcome(() -> monitor("Test\\Meeting", false)).contains("Listener value is NULL."),
                "nothing is left");
    }
}
