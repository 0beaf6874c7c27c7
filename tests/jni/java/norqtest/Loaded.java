package norqtest;

/** A virtual machine that was there first loads the library. */
public final class Loaded {
    private Loaded() {
    }

    /** As `faultsOnServedThread` of the native side. */
    private static native String faults(boolean installFirst, boolean translated);

    /** What stands wrong after loading; "good" for nothing. */
    private static native String state();

    /** Tries to take the signals of processor faults; "good" for the expected outcome. */
    private static native String signals(boolean settable);

    /** The first argument: whether native faults are translated, and their signals can be set. */
    public static void main(String[] arguments) throws InterruptedException {
        boolean translated = Boolean.parseBoolean(arguments[0]);
        System.loadLibrary("NorqStd");
        System.loadLibrary("norqstd-test-loaded");
        expect("state", state());
        expect("functions for fault signals", signals(translated));
        expect("traps behind them", Probe.provokeTraps());
        expect("faults, handlers first", faults(true, translated));
        expect("faults, attached first", faults(false, translated));
        expect("traps on Java threads", Probe.provokeTrapsOnThreads());
        System.out.println("all good");
    }

    private static void expect(String what, String result) {
        if (!result.equals("good")) {
            System.out.println(what + ": " + result);
            System.exit(1);
        }
    }
}
