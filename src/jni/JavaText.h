#pragma once

#include "base/WString.h"

#include <jni.h>

namespace norq_std_internal {

/// A new java.lang.String of all units; null with an exception pending where that fails. No exception may be pending.
jstring newJniString(JNIEnv& env, const norq_std::WString& text);

/// All units of a string that is not null.
norq_std::WString allUnits(JNIEnv& env, jstring string);

/// What a method without arguments gives as a text; empty for null, and for an exception, which is cleared.
norq_std::WString callForText(JNIEnv& env, jobject object, jmethodID method);

} // namespace norq_std_internal
