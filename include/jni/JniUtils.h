#pragma once

#include "base/Export.h"
#include "base/WString.h"
#include "jni/JniTypes.h"

#include <vector>

namespace norq_std {

// What native methods need of the Java Native Interface. Nothing here reports a failure: Java's pending exception is
// the result. With a null environment nothing is done and the result is empty or null. The environment is the calling
// thread's own.

/// Makes an exception of the class ("java/lang/Exception") with the message pending, after which the caller returns to
/// Java at once. One that is pending already stays. With `logIt` the message goes to the debug log as well.
NORQSTD_EXPORT void throwException(JNIEnv* env, const char* className, const WString& message, bool logIt);
/// A java.lang.Exception.
NORQSTD_EXPORT void throwException(JNIEnv* env, const WString& message, bool logIt);
NORQSTD_EXPORT void throwRuntimeException(JNIEnv* env, const WString& message, bool logIt);
NORQSTD_EXPORT void throwIllegalArgumentException(JNIEnv* env, const WString& message, bool logIt);
NORQSTD_EXPORT void throwIllegalStateException(JNIEnv* env, const WString& message, bool logIt);
NORQSTD_EXPORT void throwSecurityException(JNIEnv* env, const WString& message, bool logIt);

/// The text up to its first zero unit; empty for null. Consumes the caller's local reference: the string must not be
/// used afterwards.
NORQSTD_EXPORT WString getJniString(JNIEnv* env, jstring string);

/// A new array of java.lang.String in the order of the vector; null with Java's exception pending where that fails, or
/// where one was pending before. The caller owns the local reference.
NORQSTD_EXPORT jobjectArray newJniStringArray(JNIEnv* env, const std::vector<WString>& strings);

/// Overwrites the value of an existing java.lang.Boolean, by which a native method fills an out-parameter. The Java
/// side passes an object of its own (`new Boolean(false)`): another user of `Boolean.TRUE` would see it change.
NORQSTD_EXPORT void setBoolean(JNIEnv* env, jobject object, bool value);

} // namespace norq_std
