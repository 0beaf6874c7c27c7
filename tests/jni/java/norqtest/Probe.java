package norqtest;

/** What the tests ask a virtual machine to do. */
public final class Probe {
    private static final class Box {
        int value = 1;
        Box next;
    }

    private static volatile int sink;
    private static volatile boolean spinning;

    private Probe() {
    }

    public static int add(int a, int b) {
        return a + b;
    }

    public static String echo(String text) {
        return text;
    }

    public static void fail(String message) {
        throw new IllegalStateException(message);
    }

    /** An exception whose frames have a native method, and lines that are not known. */
    public static RuntimeException withFrames() {
        RuntimeException exception = new RuntimeException("framed");
        exception.setStackTrace(new StackTraceElement[] {
            new StackTraceElement("a.B", "plain", "B.java", 7), new StackTraceElement("a.B", "called", "B.java", -2),
            new StackTraceElement("a.B", "unknown", null, 3), new StackTraceElement("a.B", "noLine", "B.java", 0),
        });
        return exception;
    }

    /** One that cannot be read. */
    public static RuntimeException unreadable() {
        return new RuntimeException() {
            private static final long serialVersionUID = 1;

            @Override
            public String toString() {
                throw new UnsupportedOperationException();
            }

            @Override
            public StackTraceElement[] getStackTrace() {
                throw new UnsupportedOperationException();
            }
        };
    }

    /** Of a library that is loaded with `load`. */
    private static native void fault();

    /** A processor fault in native code that Java called. */
    public static void faultBelowJava(String library) {
        System.load(library);
        fault();
    }

    private static int valueOf(Box box) {
        return box.value;
    }

    private static int nextOf(Box box) {
        return box.next.value;
    }

    /** Compiles two methods hot and hands them null; the number of exceptions, which is twice the rounds. */
    public static int nullChecks(int rounds) {
        int exceptions = 0;
        Box box = new Box();
        box.next = box;
        for (int round = 0; round < rounds; ++round) {
            for (int i = 0; i < 20_000; ++i) {
                sink += valueOf(box) + nextOf(box);
            }
            try {
                sink += valueOf(null);
            } catch (NullPointerException e) {
                ++exceptions;
            }
            try {
                sink += nextOf(new Box());
            } catch (NullPointerException e) {
                ++exceptions;
            }
        }
        return exceptions;
    }

    private static int descend(int depth) {
        return depth == 0 ? 0 : 1 + descend(depth - 1);
    }

    /** Runs into the stack's end; the number of errors, which is the rounds. */
    public static int stackOverflows(int rounds) {
        int errors = 0;
        for (int i = 0; i < 20_000; ++i) {
            sink += descend(10);
        }
        for (int round = 0; round < rounds; ++round) {
            try {
                sink += descend(Integer.MAX_VALUE);
            } catch (StackOverflowError e) {
                ++errors;
            }
        }
        return errors;
    }

    /** Stops the threads at safe points while this one loops in compiled code. */
    public static int safePoints(int rounds) throws InterruptedException {
        spinning = true;
        Thread collector = new Thread(() -> {
            for (int round = 0; round < rounds; ++round) {
                System.gc();
            }
            spinning = false;
        });
        collector.start();
        int turns = 0;
        while (spinning) {
            for (int i = 0; i < 1000; ++i) {
                turns += i % 7;
            }
            sink = turns;
        }
        collector.join();
        return rounds;
    }

    /** The same on threads of Java, and on this one beside them; the last that was not "good", or that. */
    public static String provokeTrapsOnThreads() throws InterruptedException {
        String[] results = new String[4];
        Thread[] threads = new Thread[results.length];
        for (int i = 0; i < threads.length; ++i) {
            int mine = i;
            threads[i] = new Thread(() -> {
                int exceptions = nullChecks(20);
                int errors = stackOverflows(5);
                results[mine] = exceptions == 40 && errors == 5 ? "good" : exceptions + " and " + errors;
            });
            threads[i].start();
        }
        String result = provokeTraps();
        for (int i = 0; i < threads.length; ++i) {
            threads[i].join();
            if (!"good".equals(results[i])) {
                result = "thread " + i + ": " + results[i];
            }
        }
        return result;
    }

    /** All traps of the machine's own, on the calling thread; "good" if each ended as it must. */
    public static String provokeTraps() throws InterruptedException {
        int exceptions = nullChecks(20);
        int errors = stackOverflows(5);
        int stops = safePoints(5);
        return exceptions == 40 && errors == 5 && stops == 5 ? "good"
            : "exceptions " + exceptions + ", errors " + errors + ", stops " + stops;
    }
}
