#include "jni/NorqJNIException.h"

#include "base/EncodingUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Lock.h"
#include "jni/JNIExceptionLogger.h"
#include "jni/JVM.h"
#include "jni/JavaText.h"
#include "jni/LocalReference.h"
#include "jni/PendingException.h"

#include <atomic>
#include <jni.h>

namespace norq_std {

using norq_std_internal::callForText;
using norq_std_internal::LocalReference;
using norq_std_internal::PendingException;

namespace {

constexpr const WChar* GENERATE = u"norq_std::NorqJNIException::generateStackTrace";

/// The methods that a stack trace is read by. Their classes are those of the machine itself, which never go.
class TraceMethods {
public:
    jmethodID getStackTrace = nullptr;
    jmethodID getClassName = nullptr;
    jmethodID getFileName = nullptr;
    jmethodID getMethodName = nullptr;
    jmethodID getLineNumber = nullptr;
    jmethodID isNativeMethod = nullptr;

    /// Null where one cannot be had, and the next call tries again.
    static const TraceMethods* get(JNIEnv& env) {
        static TraceMethods methods;
        static Lock& lock = *new Lock;
        static std::atomic<bool> initialized{false};
        if (!initialized.load(std::memory_order_acquire)) {
            const AutoLock<Lock> guard(lock);
            if (!initialized.load(std::memory_order_relaxed))
                initialized.store(methods.lookUp(env), std::memory_order_release);
        }
        return initialized.load(std::memory_order_acquire) ? &methods : nullptr;
    }

private:
    bool lookUp(JNIEnv& env) {
        const LocalReference<jclass> throwable(env, env.FindClass("java/lang/Throwable"));
        if (!throwable)
            return failed(u"Could not get Throwable class.");
        const LocalReference<jclass> element(env, env.FindClass("java/lang/StackTraceElement"));
        if (!element)
            return failed(u"Could not get StackTraceElement class.");
        const auto find = [&](jmethodID& method, jclass owner, const char* name, const char* signature) {
            method = env.GetMethodID(owner, name, signature);
            return method != nullptr ||
                   failed(u"Could not get " + EncodingUtils::convertUtf8ToUnicode(name) + u" method ID.");
        };
        return find(getStackTrace, throwable.get(), "getStackTrace", "()[Ljava/lang/StackTraceElement;") &&
               find(getClassName, element.get(), "getClassName", "()Ljava/lang/String;") &&
               find(getFileName, element.get(), "getFileName", "()Ljava/lang/String;") &&
               find(getMethodName, element.get(), "getMethodName", "()Ljava/lang/String;") &&
               find(getLineNumber, element.get(), "getLineNumber", "()I") &&
               find(isNativeMethod, element.get(), "isNativeMethod", "()Z");
    }

    static bool failed(const WString& text) {
        NORQ_LOG(DEBUG, GENERATE, u"%ls", text);
        JNIExceptionLogger::logDebug(GENERATE, nullptr);
        return false;
    }
};

/// Java's own form; what a method fails to give is left empty.
WString frameText(JNIEnv& env, const TraceMethods& methods, jobject element) {
    const WString owner = callForText(env, element, methods.getClassName);
    const WString method = callForText(env, element, methods.getMethodName);
    WString place = u"Native Method";
    const bool isNative = env.CallBooleanMethod(element, methods.isNativeMethod) != JNI_FALSE;
    if (env.ExceptionCheck() != JNI_FALSE || !isNative) {
        env.ExceptionClear();
        place = callForText(env, element, methods.getFileName);
        const jint line = env.CallIntMethod(element, methods.getLineNumber);
        if (env.ExceptionCheck() == JNI_FALSE && line > 0)
            place.append(1, u':').append(EncodingUtils::toStringFromLongLong(static_cast<std::uint64_t>(line)));
        env.ExceptionClear();
    }
    return u"\n\tat " + owner + u"." + method + u"(" + place + u")";
}

} // namespace

NorqJNIException::NorqJNIException(const WString& text)
    : NorqException(text) {}

NorqJNIException::NorqJNIException(const WString& text, const NorqException& cause)
    : NorqException(text, cause) {}

NorqJNIException::NorqJNIException(const WString& text, std::int32_t number)
    : NorqException(text, number) {}

NorqJNIException::NorqJNIException(const WString& text, std::int32_t number, const NorqException& cause)
    : NorqException(text, number, cause) {}

NorqJNIException::NorqJNIException(jthrowable throwable)
    : NorqException(WString()) {
    if (throwable == nullptr)
        return;
    message = JNIExceptionLogger::getMessage(throwable);
    generateStackTrace(throwable);
}

NorqJNIException::NorqJNIException(const NorqJNIException& other) = default;

NorqJNIException& NorqJNIException::operator=(const NorqJNIException& other) = default;

NorqJNIException::~NorqJNIException() = default;

WString NorqJNIException::getClassName() const { return u"com.vantrell.exception.NorqJNIException"; }

NorqException* NorqJNIException::newInstance() const { return new NorqJNIException(*this); }

void NorqJNIException::throwIfPresent() {
    constexpr const WChar* FUNCTION = u"norq_std::NorqJNIException::throwIfPresent";
    const std::shared_ptr<JVM> jvm = JVM::getInstance();
    if (!jvm) {
        NORQ_LOG(DEBUG, FUNCTION, u"JVM is NULL. Returning.");
        return;
    }
    const std::shared_ptr<JNIEnv> env = jvm->getEnv();
    if (!env) {
        NORQ_LOG(DEBUG, FUNCTION, u"JNIEnv is NULL. Returning.");
        return;
    }
    if (env->ExceptionCheck() == JNI_FALSE)
        return;
    const LocalReference<jthrowable> pending(*env, env->ExceptionOccurred());
    env->ExceptionClear();
    throw NorqJNIException(pending.get());
}

void NorqJNIException::generateStackTrace(jthrowable throwable) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqJNIException::generateStackTrace");
    if (throwable == nullptr) {
        NORQ_LOG(DEBUG, GENERATE, u"NULL throwable. Returning.");
        return;
    }
    const std::shared_ptr<JVM> jvm = JVM::getInstance();
    if (!jvm) {
        NORQ_LOG(DEBUG, GENERATE, u"JVM is NULL. Returning.");
        return;
    }
    const std::shared_ptr<JNIEnv> env = jvm->getEnv();
    if (!env) {
        NORQ_LOG(DEBUG, GENERATE, u"JNIEnv is NULL. Returning.");
        return;
    }
    const PendingException aside(*env);
    const TraceMethods* const methods = TraceMethods::get(*env);
    if (methods == nullptr)
        return;
    stackTrace = message;
    const LocalReference<jobject> frames(*env, env->CallObjectMethod(throwable, methods->getStackTrace));
    if (env->ExceptionCheck() != JNI_FALSE || !frames)
        return;
    auto* const array = static_cast<jobjectArray>(frames.get());
    for (jsize i = 0, count = env->GetArrayLength(array); i < count; ++i)
        if (const LocalReference<jobject> element(*env, env->GetObjectArrayElement(array, i)); element)
            stackTrace += frameText(*env, *methods, element.get());
}

} // namespace norq_std
