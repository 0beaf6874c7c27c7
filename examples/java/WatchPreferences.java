import com.vantrell.util.prefs.PreferenceChangeCallback;
import com.vantrell.util.prefs.RegistryPreferencesJni;

import java.util.concurrent.Semaphore;

/** Sets preferences, hears of each change that anybody makes, and prints it. */
public final class WatchPreferences {
    private static final int USER = RegistryPreferencesJni.USER;
    private static final String PRINTER = "Example\\Printer";

    private static final Semaphore printed = new Semaphore(0);

    private WatchPreferences() {}

    public static void main(String[] arguments) throws Exception {
        @SuppressWarnings("removal") // the native method overwrites it: it must be nobody else's
        Boolean existed = new Boolean(false);
        RegistryPreferencesJni.createKey(USER, PRINTER, existed);
        System.out.println(PRINTER + (existed ? " was there" : " is new"));

        RegistryPreferencesJni.startMonitoringKey(USER, PRINTER);
        Thread poller = new Thread(WatchPreferences::printChanges, "changes");
        poller.start();

        RegistryPreferencesJni.setStrValue(USER, PRINTER, "paper", "A4");
        printed.acquire();
        RegistryPreferencesJni.setIntValue(USER, PRINTER, "copies", 2);
        printed.acquire();
        RegistryPreferencesJni.setStrValue(USER, PRINTER, "paper", "Letter");
        printed.acquire();
        RegistryPreferencesJni.deleteValue(USER, PRINTER, "copies");
        printed.acquire();

        try {
            RegistryPreferencesJni.getStrValue(USER, PRINTER, "copies");
        } catch (Exception missing) { // of the native side, with its reason
            System.out.println("copies cannot be read any more");
        }

        RegistryPreferencesJni.stopMonitoringKey(USER, PRINTER);
        RegistryPreferencesJni.deleteKey(USER, PRINTER);
        RegistryPreferencesJni.terminateJniCallback();
        poller.join();
        System.out.println("the poller has ended");
    }

    /** The one thread that native changes come to. */
    private static void printChanges() {
        try {
            for (Object next; (next = RegistryPreferencesJni.getJniCallbackData()) != null;) {
                PreferenceChangeCallback change = (PreferenceChangeCallback) next;
                String value = change.value.isEmpty() ? "nothing" : change.value;
                System.out.println(change.path + ": " + change.key + " is now " + value);
                printed.release();
            }
        } catch (Exception failure) {
            System.out.println("no change can be told of any more: " + failure.getMessage());
        }
    }
}
