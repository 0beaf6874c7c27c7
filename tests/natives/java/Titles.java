import com.vantrell.util.WindowsConsoleJni;

/** Sets titles, and says what came of it. */
public final class Titles {
    private Titles() {}

    public static void main(String[] arguments) {
        System.out.println("before: " + WindowsConsoleJni.getConsoleTitle());
        for (String title : new String[] {"B\u00fcro 7", "", null, "\ud800x", "x".repeat(8193)}) {
            int result = WindowsConsoleJni.setConsoleTitle(title);
            String read = WindowsConsoleJni.getConsoleTitle();
            System.out.println(result + ": " + (read.length() > 20 ? read.length() + " characters"
                    : read.equals("\ud800x") ? "lone" : read));
        }
    }
}
