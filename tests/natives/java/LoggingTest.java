import com.vantrell.util.WindowsConsoleJni;
import com.vantrell.util.prefs.RegistryPreferencesJni;

import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;

/** The log of the library, begun from Java, and what the native methods write there. */
public final class LoggingTest {
    private static final int USER = RegistryPreferencesJni.USER;
    private static final String NATIVE = "Java_com_vantrell_util_prefs_RegistryPreferencesJni_";

    private LoggingTest() {}

    /** The argument, if there is one: a path for nothing but `initLogging`. */
    public static void main(String[] arguments) throws Exception {
        if (arguments.length == 1) {
            RegistryPreferencesJni.initLogging(arguments[0], "agent");
            return;
        }
        Expect.equal("", printedFor("/nowhere"), "a folder that is not there");
        Expect.equal("Unable to initialize logging: Path contains invalid characters.\n", printedFor("?:*"), "no path");
        Expect.equal("Unable to initialize logging: Path length exceeded maximum path length.\n",
                printedFor("x".repeat(8193)), "a path that is too long");
        Path folder = Files.createDirectory(Path.of(System.getenv("NORQSTD_REGISTRY_USER"), "log"));
        Files.writeString(folder.resolve("agent.cfg"), """
                [Debug Log]
                Threshold=CALL
                [Log Appenders]
                appender.debug.class=norq_std.RollingFileAppender
                appender.debug.filter=norq_std.DebugFileFilter
                appender.debug.layout=norq_std.NorqLogLayout
                appender.debug.layout.debug=true
                appender.debug.size=10MB
                appender.debug.path=""" + folder + "/agent.dbg\n");
        RegistryPreferencesJni.initLogging(folder.toString(), "agent");

        @SuppressWarnings("removal")
        Boolean created = new Boolean(false);
        RegistryPreferencesJni.createKey(USER, "Logged", created);
        RegistryPreferencesJni.setStrValue(USER, "Logged", "k", "v");
        Expect.outcome(() -> RegistryPreferencesJni.getStrValue(USER, "Nowhere", "k"));
        Expect.outcome(() -> RegistryPreferencesJni.getIntValue(USER, "", "k", 1));
        Expect.outcome(() -> RegistryPreferencesJni.getIntValue(0, "Logged", "k", 1));
        WindowsConsoleJni.setConsoleTitle("");
        WindowsConsoleJni.setConsoleTitle("title");
        // A second call begins nothing, whatever it is given, and throws nothing.
        for (String text : new String[] {"", null, "\ud800", "a\0b", "?:*", "x".repeat(8192), "x".repeat(8193)}) {
            RegistryPreferencesJni.initLogging(text, "agent");
            RegistryPreferencesJni.initLogging(folder.toString(), text);
        }

        String log = Files.readString(folder.resolve("agent0001.dbg"), StandardCharsets.ISO_8859_1);
        for (String line : new String[] {
            NATIVE + "createKey: Begin.", NATIVE + "createKey: Root <-2147483647> Key <Logged>.",
            NATIVE + "createKey: End.",
            NATIVE + "setStrValue: Root <-2147483647> Parent key <Logged> Key <k> Value <v>.",
            NATIVE + "getStrValue: Root <-2147483647> Parent key <Nowhere> Key <k>.",
            NATIVE + "getStrValue: Exception thrown.",
            NATIVE + "getIntValue: Root <0> Parent key <Logged> Key <k> Default <1>.",
            NATIVE + "getIntValue: IllegalArgumentException thrown.",
            "WindowsConsoleJni_setConsoleTitle: Title passed is empty. Returning error.",
            "WindowsConsoleJni_setConsoleTitle: Title <title>.",
            "WindowsConsoleJni_setConsoleTitle: An error occurred in SetConsoleTitle: <20:"})
            Expect.that(log.contains(line), line);
        Expect.that(!log.contains("Parent key <> "), "nothing is done with an empty parent key");
        Expect.finish();
    }

    /** What a process of its own prints on standard output. */
    private static String printedFor(String path) throws Exception {
        Process process = new ProcessBuilder(System.getProperty("java.home") + "/bin/java", "-Xcheck:jni", "-Xmx64m",
                "-cp", System.getProperty("java.class.path"), "LoggingTest", path)
                .redirectError(ProcessBuilder.Redirect.INHERIT).start();
        String text = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        Expect.equal(0, process.waitFor(), "its end");
        return text;
    }
}
