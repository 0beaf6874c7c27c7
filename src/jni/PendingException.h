#pragma once

#include <jni.h>

namespace norq_std_internal {

/// Puts the Java exception that is pending on the thread aside for the length of a scope, in which Java may be called.
/// At the end it is pending again, and one that was raised meanwhile is dropped.
class PendingException {
public:
    explicit PendingException(JNIEnv& environment)
        : env(environment)
        , aside(environment.ExceptionOccurred()) {
        if (aside != nullptr)
            env.ExceptionClear();
    }
    ~PendingException() {
        if (env.ExceptionCheck() != JNI_FALSE)
            env.ExceptionClear();
        if (aside != nullptr) {
            env.Throw(aside);
            env.DeleteLocalRef(aside);
        }
    }
    PendingException(const PendingException&) = delete;
    PendingException& operator=(const PendingException&) = delete;

private:
    JNIEnv& env;
    jthrowable aside;
};

} // namespace norq_std_internal
