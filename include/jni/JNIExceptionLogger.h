#pragma once

#include "base/Export.h"
#include "base/WString.h"
#include "concurrency/Lock.h"
#include "jni/JniTypes.h"
#include "pattern/Singleton.h"

#include <atomic>

namespace norq_std {

/// Reads and logs Java exceptions: the text is what their `toString` gives. Without a virtual machine, or where the
/// thread cannot have an environment, every text is empty and nothing is logged.
///
/// Any thread may call any operation; a throwable is a reference of the calling thread, or a global one.
class NORQSTD_EXPORT JNIExceptionLogger : public Singleton<JNIExceptionLogger> {
    friend class Singleton<JNIExceptionLogger>;

public:
    JNIExceptionLogger(const JNIExceptionLogger&) = delete;
    JNIExceptionLogger& operator=(const JNIExceptionLogger&) = delete;

    /// The exception's text; empty for null. An exception that is pending on the thread stays pending, and one that
    /// `toString` throws is dropped.
    static WString getMessage(jthrowable throwable);

    // Log "JNI Exception: " and the text at the priority of the name, as coming from `function`. Null stands for the
    // exception that is pending on the thread, which is cleared whether or not anything is logged; if there is none,
    // nothing happens.

    static void logDebug(const WChar* function, jthrowable throwable);
    static void logCall(const WChar* function, jthrowable throwable);
    static void logTrace(const WChar* function, jthrowable throwable);
    static void logDump(const WChar* function, jthrowable throwable);

    /// Whether a text can be read: false until the first was asked for with a virtual machine there.
    bool isInitialized() const;

private:
    JNIExceptionLogger() = default;
    static const WChar* getSingletonName() { return u"norq_std::JNIExceptionLogger"; }

    void initialize();
    static WString internalGetMessage(jthrowable throwable);

    Lock lock;
    std::atomic<jmethodID> toStringMethod{nullptr};
};

} // namespace norq_std
