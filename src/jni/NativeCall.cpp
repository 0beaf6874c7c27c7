#include "jni/NativeCall.h"

#include "base/ContextLogMessage.h"
#include "base/StaticLog.h"
#include "exception/NorqException.h"
#include "jni/JniUtils.h"
#include "jni/LocalReference.h"

using namespace norq_std;

namespace norq_std_internal {
namespace {

void logThrown(const WChar* function, const WChar* text) {
    if (StaticLog::isThresholdOn(DEBUG))
        ContextLogMessage(function, DEBUG, u"NorqStd", u"NativeCall.cpp", __LINE__).log(u"%ls", text);
}

WString readText(JNIEnv* env, jstring argument, const WChar* messageIfEmpty) {
    WString text = getJniString(env, argument);
    if (text.empty())
        throw EmptyArgument{messageIfEmpty};
    return text;
}

void throwInKind(JNIEnv* env, const WChar* function) {
    try {
        throw;
    } catch (const EmptyArgument& failure) {
        throwIllegalArgumentException(env, failure.message, false);
    } catch (const NorqIllegalArgumentException& failure) {
        throwIllegalArgumentException(env, failure.getMessage(), false);
        logThrown(function, u"IllegalArgumentException thrown.");
    } catch (const NorqIllegalStateException& failure) {
        throwIllegalStateException(env, failure.getMessage(), false);
        logThrown(function, u"IllegalStateException thrown.");
    } catch (const NorqAccessException& failure) {
        throwSecurityException(env, failure.getMessage(), false);
        logThrown(function, u"SecurityException thrown.");
    } catch (const NorqRuntimeException& failure) { // an unknown one too
        throwRuntimeException(env, failure.getMessage(), false);
        logThrown(function, u"RuntimeException thrown.");
    } catch (const NorqException& failure) {
        throwException(env, failure.getMessage(), false);
        logThrown(function, u"Exception thrown.");
    } catch (...) {
        throwRuntimeException(env, u"Unknown error encountered.", false);
        logThrown(function, u"RuntimeException thrown.");
    }
}

} // namespace

WString readParentKey(JNIEnv* env, jstring argument) { return readText(env, argument, u"Parent key is empty."); }

WString readKey(JNIEnv* env, jstring argument) { return readText(env, argument, u"Key is empty."); }

void throwToJava(JNIEnv* env, const WChar* function) {
    try {
        throwInKind(env, function);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) { // for want of memory
        if (env->ExceptionCheck() != JNI_FALSE)
            return;
        if (const LocalReference<jclass> type(*env, env->FindClass("java/lang/RuntimeException")); type)
            env->ThrowNew(type.get(), "Unknown error encountered.");
    }
}

} // namespace norq_std_internal
