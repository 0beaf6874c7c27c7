#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "jni/JavaText.h"
#include "jni/JniUtils.h"
#include "jni/NativeCall.h"
#include "platform/ConsoleTitle.h"

// The native methods of com.vantrell.util.WindowsConsoleJni.

using namespace norq_std;
using namespace norq_std_internal;

#define NATIVE_METHOD(name) Java_com_vantrell_util_WindowsConsoleJni_##name
#define NATIVE_NAME(name) u"Java_com_vantrell_util_WindowsConsoleJni_" name

namespace {

constexpr jint TitleNotSet = -1;
constexpr std::size_t TitleUnits = 0x100; // with a terminator

jint setTitle(JNIEnv* env, jstring argument) {
    constexpr const WChar* function = NATIVE_NAME(u"setConsoleTitle");
    const WString title = getJniString(env, argument);
    if (title.empty()) {
        NORQ_LOG(DEBUG, function, u"Title passed is empty. Returning error.");
        return TitleNotSet;
    }
    NORQ_LOG(CALL, function, u"Title <%ls>.", title);
    if (const std::int32_t result = platform::setConsoleTitle(title))
        return result;
    NORQ_LOG(DEBUG, function, u"An error occurred in SetConsoleTitle: <%ls>.", ErrorUtils::getLastErrorDescription());
    return TitleNotSet;
}

} // namespace

extern "C" {

NORQSTD_EXPORT jint JNICALL NATIVE_METHOD(setConsoleTitle)(JNIEnv* env, jobject, jstring title) {
    NORQ_LOG_FUNCTION_CALL(NATIVE_NAME(u"setConsoleTitle"));
    try {
        return setTitle(env, title);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) { // it reports by its result alone
        return TitleNotSet;
    }
}

NORQSTD_EXPORT jstring JNICALL NATIVE_METHOD(getConsoleTitle)(JNIEnv* env, jobject) {
    constexpr const WChar* function = NATIVE_NAME(u"getConsoleTitle");
    NORQ_LOG_FUNCTION_CALL(function);
    return callFromJava(
        env, function, [&] { return newJniString(*env, platform::consoleTitle(TitleUnits)); },
        [&] { return newJniString(*env, {}); });
}

} // extern "C"
