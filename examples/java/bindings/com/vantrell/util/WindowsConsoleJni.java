package com.vantrell.util;

/** The title of the terminal that the program runs in. */
public final class WindowsConsoleJni {
    static {
        System.loadLibrary("NorqStd");
    }

    private WindowsConsoleJni() {}

    /** Below 0 for an empty title and without a terminal. */
    public static native int setConsoleTitle(String title);

    /** What was set, at most 255 characters; empty without a terminal. */
    public static native String getConsoleTitle();
}
