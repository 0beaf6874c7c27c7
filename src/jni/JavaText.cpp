#include "jni/JavaText.h"

#include "jni/LocalReference.h"

namespace norq_std_internal {

using norq_std::WChar;
using norq_std::WString;

static_assert(sizeof(jchar) == sizeof(WChar), "text crosses without a conversion");

jstring newJniString(JNIEnv& env, const WString& text) {
    return env.NewString(reinterpret_cast<const jchar*>(text.data()), static_cast<jsize>(text.size()));
}

WString allUnits(JNIEnv& env, jstring string) {
    WString text(static_cast<std::size_t>(env.GetStringLength(string)), u'\0');
    env.GetStringRegion(string, 0, static_cast<jsize>(text.size()), reinterpret_cast<jchar*>(text.data()));
    return text;
}

WString callForText(JNIEnv& env, jobject object, jmethodID method) {
    const LocalReference<jstring> text(env, static_cast<jstring>(env.CallObjectMethod(object, method)));
    if (env.ExceptionCheck() != JNI_FALSE) {
        env.ExceptionClear();
        return {};
    }
    return text ? allUnits(env, text.get()) : WString();
}

} // namespace norq_std_internal
