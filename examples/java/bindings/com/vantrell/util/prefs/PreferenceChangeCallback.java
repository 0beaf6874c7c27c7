package com.vantrell.util.prefs;

/** A preference that changed. The native side calls the constructor. */
public final class PreferenceChangeCallback {
    public final int root;
    public final String path;
    public final String key;
    public final String value;

    public PreferenceChangeCallback(int root, String path, String key, String value) {
        this.root = root;
        this.path = path;
        this.key = key;
        this.value = value;
    }
}
