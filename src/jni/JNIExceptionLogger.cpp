#include "jni/JNIExceptionLogger.h"

#include "base/ContextLogMessage.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "internal/ThreadIdMap.h"
#include "jni/JVM.h"
#include "jni/JavaText.h"
#include "jni/LocalReference.h"
#include "jni/PendingException.h"

#include <jni.h>

namespace norq_std {

using norq_std_internal::callForText;
using norq_std_internal::LocalReference;
using norq_std_internal::PendingException;

namespace {

/// Empty or holding null where there is none.
std::shared_ptr<JNIEnv> environment() {
    const std::shared_ptr<JVM> jvm = JVM::getInstance();
    return jvm ? jvm->getEnv() : nullptr;
}

void log(LogEventPriority priority, const WChar* function, const WString& text) {
    if (!text.empty() && StaticLog::isThresholdOn(priority))
        ContextLogMessage::log(priority, function, u"NorqStd", u"", norq_std_internal::currentThreadId(),
                               u"JNIExceptionLogger.cpp", __LINE__, u"JNI Exception: %ls", text.c_str());
}

} // namespace

bool JNIExceptionLogger::isInitialized() const { return toStringMethod.load(std::memory_order_acquire) != nullptr; }

void JNIExceptionLogger::initialize() {
    const AutoLock<Lock> guard(lock);
    if (isInitialized())
        return;
    const std::shared_ptr<JNIEnv> env = environment();
    if (!env)
        return;
    env->ExceptionClear();
    const LocalReference<jclass> throwable(*env, env->FindClass("java/lang/Throwable"));
    if (!throwable) {
        NORQ_LOG(DEBUG, u"norq_std::JNIExceptionLogger::initialize", u"Unable to get Throwable class.");
        env->ExceptionClear();
        return;
    }
    auto* const method = env->GetMethodID(throwable.get(), "toString", "()Ljava/lang/String;");
    if (method == nullptr) {
        NORQ_LOG(DEBUG, u"norq_std::JNIExceptionLogger::initialize",
                 u"Unable to get Throwable.getMessage() method ID.");
        env->ExceptionClear();
    }
    toStringMethod.store(method, std::memory_order_release);
}

WString JNIExceptionLogger::getMessage(jthrowable throwable) {
    const std::shared_ptr<JNIEnv> env = environment();
    if (!env || throwable == nullptr)
        return {};
    const PendingException pending(*env);
    JNIExceptionLogger& self = getInstance();
    if (!self.isInitialized())
        self.initialize();
    auto* const method = self.toStringMethod.load(std::memory_order_acquire);
    if (method == nullptr)
        return {};
    return callForText(*env, throwable, method);
}

WString JNIExceptionLogger::internalGetMessage(jthrowable throwable) {
    const std::shared_ptr<JNIEnv> env = environment();
    if (!env)
        return {};
    if (throwable != nullptr)
        return getMessage(throwable);
    if (env->ExceptionCheck() == JNI_FALSE)
        return {};
    const LocalReference<jthrowable> pending(*env, env->ExceptionOccurred());
    env->ExceptionClear();
    return getMessage(pending.get());
}

void JNIExceptionLogger::logDebug(const WChar* function, jthrowable throwable) {
    log(DEBUG, function, internalGetMessage(throwable));
}

void JNIExceptionLogger::logCall(const WChar* function, jthrowable throwable) {
    log(CALL, function, internalGetMessage(throwable));
}

void JNIExceptionLogger::logTrace(const WChar* function, jthrowable throwable) {
    log(TRACE, function, internalGetMessage(throwable));
}

void JNIExceptionLogger::logDump(const WChar* function, jthrowable throwable) {
    log(DUMP, function, internalGetMessage(throwable));
}

} // namespace norq_std
