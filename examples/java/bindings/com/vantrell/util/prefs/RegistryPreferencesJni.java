package com.vantrell.util.prefs;

/**
 * The native preferences, key by key, below one of two roots.
 *
 * Parent keys and keys are paths with backslashes. A key that is empty or null is an IllegalArgumentException, a value
 * that is null is empty. What cannot be found is an Exception, what is not allowed a SecurityException.
 */
public final class RegistryPreferencesJni {
    public static final int USER = 0x80000001;
    public static final int SYSTEM = 0x80000002;

    static {
        System.loadLibrary("NorqStd");
    }

    private RegistryPreferencesJni() {}

    /** `created` is overwritten with whether the key was there before, so it must be an object of the caller's own. */
    public static native void createKey(int root, String key, Boolean created) throws Exception;

    public static native void setStrValue(int root, String parentKey, String key, String value) throws Exception;

    public static native String getStrValue(int root, String parentKey, String key) throws Exception;

    public static native void setIntValue(int root, String parentKey, String key, int value) throws Exception;

    public static native int getIntValue(int root, String parentKey, String key, int defaultValue) throws Exception;

    public static native void deleteValue(int root, String parentKey, String key) throws Exception;

    public static native void deleteKey(int root, String key) throws Exception;

    public static native String[] getKeys(int root, String key) throws Exception;

    public static native String[] getKeysWithValue(int root, String key) throws Exception;

    public static native void startMonitoringKey(int root, String key) throws Exception;

    public static native void stopMonitoringKey(int root, String key) throws Exception;

    /** Waits for the next change of a monitored key; null after terminateJniCallback. */
    public static native Object getJniCallbackData() throws Exception;

    public static native void terminateJniCallback();

    public static native void initLogging(String configPath, String moduleName);
}
