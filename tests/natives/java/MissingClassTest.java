import java.io.IOException;
import java.io.InputStream;
import java.lang.reflect.InvocationTargetException;

/** A program without the class that changes are to become objects of. */
public final class MissingClassTest {
    private static final int USER = 0x80000001;

    /** Knows of the program's classes the native methods alone. */
    private static final class Refusing extends ClassLoader {
        Refusing() {
            super(null);
        }

        @Override
        protected Class<?> findClass(String name) throws ClassNotFoundException {
            if (!name.endsWith("RegistryPreferencesJni"))
                throw new ClassNotFoundException(name);
            try (InputStream file =
                    MissingClassTest.class.getResourceAsStream('/' + name.replace('.', '/') + ".class")) {
                byte[] bytes = file.readAllBytes();
                return defineClass(name, bytes, 0, bytes.length);
            } catch (IOException failure) {
                throw new ClassNotFoundException(name, failure);
            }
        }
    }

    private MissingClassTest() {}

    public static void main(String[] arguments) throws Exception {
        Class<?> natives = new Refusing().loadClass("com.vantrell.util.prefs.RegistryPreferencesJni");
        natives.getMethod("startMonitoringKey", int.class, String.class).invoke(null, USER, "Missing");
        natives.getMethod("setStrValue", int.class, String.class, String.class, String.class)
                .invoke(null, USER, "Missing", "k", "v");
        Expect.equal("NoClassDefFoundError: com/vantrell/util/prefs/PreferenceChangeCallback",
                Expect.outcome(() -> call(natives, "getJniCallbackData")), "the change");
        call(natives, "terminateJniCallback");
        Expect.equal(null, call(natives, "getJniCallbackData"), "the end all the same");
        Expect.finish();
    }

    private static Object call(Class<?> type, String method) throws Exception {
        try {
            return type.getMethod(method).invoke(null);
        } catch (InvocationTargetException thrown) {
            if (thrown.getCause() instanceof Error)
                throw (Error) thrown.getCause();
            throw thrown;
        }
    }
}
