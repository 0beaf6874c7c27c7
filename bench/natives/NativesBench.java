import com.vantrell.util.prefs.PreferenceChangeCallback;
import com.vantrell.util.prefs.RegistryPreferencesJni;

import java.util.concurrent.LinkedBlockingQueue;
import java.util.prefs.Preferences;

/** The Java side of the benchmarks of the native methods. */
public final class NativesBench {
    private static final int USER = RegistryPreferencesJni.USER;
    private static final String NODE = "Bench\\Node";

    private static Preferences node;
    private static final LinkedBlockingQueue<PreferenceChangeCallback> QUEUE = new LinkedBlockingQueue<>();

    private NativesBench() {}

    @SuppressWarnings("removal")
    static long prepare(int unused) throws Exception {
        RegistryPreferencesJni.createKey(USER, NODE, new Boolean(false));
        RegistryPreferencesJni.setStrValue(USER, NODE, "key", "a value of some length");
        node = Preferences.userRoot().node("Bench/Node");
        node.put("key", "a value of some length");
        node.flush();
        return 0;
    }

    static long nativeGets(int count) throws Exception {
        long length = 0;
        for (int i = 0; i < count; ++i)
            length += RegistryPreferencesJni.getStrValue(USER, NODE, "key").length();
        return length;
    }

    static long jdkGets(int count) {
        long length = 0;
        for (int i = 0; i < count; ++i)
            length += node.get("key", "").length();
        return length;
    }

    /** Takes changes that a native thread enqueues. */
    static long nativeChanges(int count) throws Exception {
        long length = 0;
        for (int i = 0; i < count; ++i)
            length += ((PreferenceChangeCallback) RegistryPreferencesJni.getJniCallbackData()).value.length();
        return length;
    }

    /** The same between two Java threads. */
    static long javaChanges(int count) throws Exception {
        Thread source = new Thread(() -> {
            for (int i = 0; i < count; ++i)
                QUEUE.add(new PreferenceChangeCallback(USER, NODE, "key", "a value of some length"));
        });
        source.start();
        long length = 0;
        for (int i = 0; i < count; ++i)
            length += QUEUE.take().value.length();
        source.join();
        return length;
    }
}
