import java.util.Objects;

/** Counts what did not come as expected. */
final class Expect {
    interface Step {
        Object run() throws Throwable;
    }

    private static int failures;

    private Expect() {}

    /** The step's result; or the name of what it threw, and its message. */
    static String outcome(Step step) {
        try {
            return String.valueOf(step.run());
        } catch (Throwable thrown) {
            return thrown.getClass().getSimpleName() + ": " + thrown.getMessage();
        }
    }

    static synchronized void equal(Object expected, Object actual, String what) {
        if (Objects.equals(expected, actual))
            return;
        ++failures;
        System.out.println("FAILED " + what + ": " + shown(actual) + " in place of " + shown(expected));
    }

    static void that(boolean holds, String what) {
        equal(true, holds, what);
    }

    /** Ends the program. */
    static void finish() {
        System.out.println(failures == 0 ? "all is as expected" : failures + " failures");
        System.exit(failures == 0 ? 0 : 1);
    }

    private static String shown(Object value) {
        String text = String.valueOf(value);
        StringBuilder escaped = new StringBuilder();
        text.chars().limit(200).forEach(unit -> escaped.append(
                unit < 0x20 || unit > 0x7e ? String.format("\\u%04x", unit) : String.valueOf((char) unit)));
        return "'" + escaped + (text.length() > 200 ? "' and so on, " + text.length() + " units" : "'");
    }
}
