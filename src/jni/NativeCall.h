#pragma once

#include "base/WString.h"

#include <cxxabi.h>
#include <jni.h>
#include <utility>

// What the native methods of Java classes share. Nothing native passes into Java frames: a failure becomes Java's
// pending exception.

namespace norq_std_internal {

/// An argument that the native method does without calling what lies below it.
struct EmptyArgument {
    const norq_std::WChar* message;
};

// The next string argument of the call, of which the reference is consumed. Throw `EmptyArgument`; null is empty.
norq_std::WString readParentKey(JNIEnv* env, jstring argument);
norq_std::WString readKey(JNIEnv* env, jstring argument);

/// Makes the exception that is being handled pending in Java, and logs which it became. One that is pending there
/// already stays.
void throwToJava(JNIEnv* env, const norq_std::WChar* function);

/// The result of the work; or that of `fallback`, made before the failure of the work is pending in Java, since Java
/// allows no call afterwards.
template <class Work, class Fallback>
auto callFromJava(JNIEnv* env, const norq_std::WChar* function, Work&& work, Fallback&& fallback) -> decltype(work()) {
    try {
        return work();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        const auto result = fallback();
        throwToJava(env, function);
        return result;
    }
}

template <class Work>
void callFromJava(JNIEnv* env, const norq_std::WChar* function, Work&& work) {
    const auto nothing = [] { return false; };
    callFromJava(
        env, function, [&] { return std::forward<Work>(work)(), false; }, nothing);
}

} // namespace norq_std_internal
