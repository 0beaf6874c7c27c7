import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.prefs.BackingStoreException;
import java.util.prefs.InvalidPreferencesFormatException;
import java.util.prefs.Preferences;

/**
 * Java's side of an exchange of preferences in a folder: imports each *.xml and writes the tree, or "refused", beside it
 * as *.dump; then exports a tree of its own to java-tree.xml and one node of it to java-node.xml.
 */
public final class PreferencesExchange {
    private PreferencesExchange() {}

    public static void main(String[] arguments) throws IOException, BackingStoreException {
        Path folder = Path.of(arguments[0]);
        try (DirectoryStream<Path> files = Files.newDirectoryStream(folder, "*.xml")) {
            for (Path file : files) {
                Files.writeString(Path.of(file + ".dump"), importAndDump(file));
                clear(Preferences.userRoot());
                clear(Preferences.systemRoot());
            }
        }
        Preferences root = Preferences.userRoot();
        root.put("root", "1");
        Preferences node = root.node("a/b");
        root.node("a").put("left out", "of the node's export");
        node.put("k", "\"<>&'\t\r\n \u00e4\u4e2d\uD83D\uDE00");
        node.put("empty", "");
        node.put("long", "v".repeat(Preferences.MAX_VALUE_LENGTH));
        node.node("c").put("k\"<&", "v");
        root.node("q\"<&").put("k", "v");
        try (OutputStream tree = Files.newOutputStream(folder.resolve("java-tree.xml"));
                OutputStream alone = Files.newOutputStream(folder.resolve("java-node.xml"))) {
            root.exportSubtree(tree);
            node.exportNode(alone);
        }
        clear(root);
    }

    private static String importAndDump(Path file) throws IOException, BackingStoreException {
        try (InputStream stream = Files.newInputStream(file)) {
            Preferences.importPreferences(stream);
        } catch (InvalidPreferencesFormatException e) {
            return "refused";
        }
        StringBuilder text = new StringBuilder();
        for (Preferences root : new Preferences[] {Preferences.userRoot(), Preferences.systemRoot()}) {
            dump(root, text);
        }
        return text.toString();
    }

    private static void dump(Preferences node, StringBuilder text) throws BackingStoreException {
        text.append(node.absolutePath()).append(' ');
        for (String key : node.keys()) {
            text.append(node.absolutePath()).append(':').append(key).append('=').append(node.get(key, "")).append(' ');
        }
        for (String name : node.childrenNames()) {
            dump(node.node(name), text);
        }
    }

    private static void clear(Preferences root) throws BackingStoreException {
        root.clear();
        for (String name : root.childrenNames()) {
            root.node(name).removeNode();
        }
    }
}
