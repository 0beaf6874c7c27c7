#include "jni/PreferenceChangeJniCallback.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "jni/JavaText.h"
#include "jni/LocalReference.h"

#include <jni.h>

namespace norq_std {

using norq_std_internal::LocalReference;
using norq_std_internal::newJniString;

PreferenceChangeJniCallback::PreferenceChangeJniCallback(int rootHandle, const WString& nodePath,
                                                         const WString& preferenceKey, const WString& newValue)
    : root(rootHandle)
    , path(nodePath)
    , key(preferenceKey)
    , value(newValue) {
    constexpr const WChar* function = u"norq_std::PreferenceChangeJniCallback::PreferenceChangeJniCallback";
    NORQ_LOG_FUNCTION_CALL_TEXT(function, u"Begin. Root <%d> Path <%ls> Key <%ls> Value <%ls>.", root, path, key,
                                value);
    ErrorUtils::isEmptyEx(path, function, u"Path");
    ErrorUtils::isEmptyEx(key, function, u"Key");
}

jobject PreferenceChangeJniCallback::createJniObject(JNIEnv* env) {
    NORQ_LOG_FUNCTION_CALL_TEXT(u"norq_std::PreferenceChangeJniCallback::createJniObject", u"Begin. JNI Env <%p>.",
                                static_cast<void*>(env));
    if (env == nullptr)
        return nullptr;
    const LocalReference<jclass> type(*env, env->FindClass("com/vantrell/util/prefs/PreferenceChangeCallback"));
    if (!type)
        return nullptr;
    auto* const constructor =
        env->GetMethodID(type.get(), "<init>", "(ILjava/lang/String;Ljava/lang/String;Ljava/lang/String;)V");
    if (constructor == nullptr)
        return nullptr;
    const LocalReference<jstring> pathText(*env, newJniString(*env, path));
    const LocalReference<jstring> keyText(*env, pathText ? newJniString(*env, key) : nullptr);
    const LocalReference<jstring> valueText(*env, keyText ? newJniString(*env, value) : nullptr);
    if (!valueText)
        return nullptr;
    return env->NewObject(type.get(), constructor, jint{root}, pathText.get(), keyText.get(), valueText.get());
}

} // namespace norq_std
