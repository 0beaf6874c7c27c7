#pragma once

#include "base/WString.h"
#include "jni/IJniCallback.h"

namespace norq_std {

/// A changed preference, on its way to Java.
///
/// It becomes an object of the Java class `com.vantrell.util.prefs.PreferenceChangeCallback`, which the Java side
/// supplies, by its constructor `(int root, String path, String key, String value)`.
class NORQSTD_EXPORT PreferenceChangeJniCallback : public IJniCallback {
public:
    /// `root` is the handle's number, 0x80000001 of the user's tree or 0x80000002 of the system's; `path` has
    /// backslashes and none in front. Throws `NorqIllegalArgumentException` for an empty path or key.
    PreferenceChangeJniCallback(int root, const WString& path, const WString& key, const WString& value);

    jobject createJniObject(JNIEnv* env) override;

private:
    int root;
    WString path;
    WString key;
    WString value;
};

} // namespace norq_std
