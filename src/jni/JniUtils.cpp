#include "jni/JniUtils.h"

#include "base/InternalLog.h"
#include "jni/JavaText.h"
#include "jni/LocalReference.h"

#include <algorithm>
#include <jni.h>

namespace norq_std {

using norq_std_internal::LocalReference;
using norq_std_internal::newJniString;

void throwException(JNIEnv* env, const char* className, const WString& message, bool logIt) {
    if (logIt && __internal_debug_on())
        __internal_debug(u"norq_std::throwException", u"JniUtils.cpp", __LINE__, u"%ls", message.c_str());
    if (env == nullptr || className == nullptr || env->ExceptionCheck() != JNI_FALSE)
        return;
    const LocalReference<jclass> type(*env, env->FindClass(className));
    if (!type)
        return;
    auto* const constructor = env->GetMethodID(type.get(), "<init>", "(Ljava/lang/String;)V");
    if (constructor == nullptr)
        return;
    const LocalReference<jstring> text(*env, newJniString(*env, message));
    if (!text)
        return;
    const LocalReference<jobject> exception(*env, env->NewObject(type.get(), constructor, text.get()));
    if (exception && env->ExceptionCheck() == JNI_FALSE)
        env->Throw(static_cast<jthrowable>(exception.get()));
}

void throwException(JNIEnv* env, const WString& message, bool logIt) {
    throwException(env, "java/lang/Exception", message, logIt);
}

void throwRuntimeException(JNIEnv* env, const WString& message, bool logIt) {
    throwException(env, "java/lang/RuntimeException", message, logIt);
}

void throwIllegalArgumentException(JNIEnv* env, const WString& message, bool logIt) {
    throwException(env, "java/lang/IllegalArgumentException", message, logIt);
}

void throwIllegalStateException(JNIEnv* env, const WString& message, bool logIt) {
    throwException(env, "java/lang/IllegalStateException", message, logIt);
}

void throwSecurityException(JNIEnv* env, const WString& message, bool logIt) {
    throwException(env, "java/lang/SecurityException", message, logIt);
}

WString getJniString(JNIEnv* env, jstring string) {
    if (env == nullptr || string == nullptr)
        return {};
    const LocalReference<jstring> consumed(*env, string);
    const jchar* const units = env->GetStringChars(string, nullptr);
    if (units == nullptr)
        return {};
    // Nothing but the length says where the units end.
    const auto* const end = std::find(units, units + env->GetStringLength(string), jchar{0});
    struct Released { // whatever the copy throws
        ~Released() { env->ReleaseStringChars(string, units); }
        JNIEnv* env;
        jstring string;
        const jchar* units;
    };
    const Released released{env, string, units};
    return {units, end};
}

jobjectArray newJniStringArray(JNIEnv* env, const std::vector<WString>& strings) {
    if (env == nullptr || env->ExceptionCheck() != JNI_FALSE)
        return nullptr;
    const LocalReference<jclass> type(*env, env->FindClass("java/lang/String"));
    if (!type)
        return nullptr;
    auto* const array = env->NewObjectArray(static_cast<jsize>(strings.size()), type.get(), nullptr);
    if (array == nullptr)
        return nullptr;
    for (std::size_t i = 0; i < strings.size(); ++i) {
        const LocalReference<jstring> text(*env, newJniString(*env, strings[i]));
        if (!text) {
            env->DeleteLocalRef(array);
            return nullptr;
        }
        env->SetObjectArrayElement(array, static_cast<jsize>(i), text.get());
    }
    return array;
}

void setBoolean(JNIEnv* env, jobject object, bool value) {
    if (env == nullptr || object == nullptr || env->ExceptionCheck() != JNI_FALSE)
        return;
    const LocalReference<jclass> type(*env, env->FindClass("java/lang/Boolean"));
    if (!type || env->IsInstanceOf(object, type.get()) == JNI_FALSE)
        return;
    auto* const constructor = env->GetMethodID(type.get(), "<init>", "(Z)V");
    if (constructor == nullptr)
        return;
    env->CallVoidMethod(object, constructor, static_cast<jboolean>(value ? JNI_TRUE : JNI_FALSE));
    env->ExceptionCheck(); // which has to follow every call of Java
}

} // namespace norq_std
