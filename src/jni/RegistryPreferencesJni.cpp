#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "base/StaticLog.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Lock.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "jni/JavaText.h"
#include "jni/JniCallbackQueue.h"
#include "jni/JniPreferenceChangeListenerContainer.h"
#include "jni/JniUtils.h"
#include "jni/NativeCall.h"
#include "platform/DebugOutput.h"
#include "prefs/Preferences.h"
#include "system/Paths.h"
#include "windows/AutoCloseRegistry.h"
#include "windows/NorqRegistry.h"

// The native methods of com.vantrell.util.prefs.RegistryPreferencesJni, exported as
// Java_com_vantrell_util_prefs_RegistryPreferencesJni_createKey and so on.

using namespace norq_std;
using namespace norq_std_internal;

#define NATIVE_METHOD(name) Java_com_vantrell_util_prefs_RegistryPreferencesJni_##name
#define NATIVE_NAME(name) u"Java_com_vantrell_util_prefs_RegistryPreferencesJni_" name

namespace norq_std_internal {

class CallbackPoll {
public:
    static bool hasEnded() { return JniCallbackQueue::getInstance().isShutdown(); }
};

} // namespace norq_std_internal

namespace {

/// Java's whole numbers have a sign, which a root is not to get.
HKey registryRoot(jint root) { return static_cast<std::uint32_t>(root); }

/// What is done with the values below an open key. It is closed before the method returns.
template <class Work>
auto withKey(jint root, const WString& path, std::uint32_t access, Work&& work) {
    NorqRegistry registry;
    const AutoCloseRegistry open(registry, registryRoot(root), path, access);
    return work(registry);
}

std::shared_ptr<Preferences> nodeOf(jint root, const WString& path) {
    return (registryRoot(root) == HKEY_LOCAL_MACHINE ? Preferences::systemRoot() : Preferences::userRoot())->node(path);
}

void startMonitoring(jint root, const WString& key) {
    const auto node = nodeOf(root, key);
    auto& container = JniPreferenceChangeListenerContainer::getInstance();
    const AutoLock<Lock> guard(JniPreferenceChangeListenerContainer::lock());
    const bool known = container.find(root, key) != nullptr;
    try {
        node->addPreferenceChangeListener(container.getOrCreate(root, key));
    } catch (const NorqException&) {
        if (!known) // nothing is monitored by it
            container.remove(root, key);
        throw;
    }
}

void stopMonitoring(jint root, const WString& key) {
    const auto node = nodeOf(root, key);
    auto& container = JniPreferenceChangeListenerContainer::getInstance();
    const AutoLock<Lock> guard(JniPreferenceChangeListenerContainer::lock());
    node->removePreferenceChangeListener(container.find(root, key)); // which rejects an empty one
    container.remove(root, key);
}

} // namespace

extern "C" {

NORQSTD_EXPORT void JNICALL NATIVE_METHOD(createKey)(JNIEnv* env, jobject, jint root, jstring key, jobject created) {
    constexpr const WChar* function = NATIVE_NAME(u"createKey");
    NORQ_LOG_FUNCTION_CALL(function);
    callFromJava(env, function, [&] {
        const WString path = readKey(env, key);
        NORQ_LOG(CALL, function, u"Root <%d> Key <%ls>.", root, path);
        ErrorUtils::isNullEx(created, function, u"Created");
        bool existed = false;
        {
            NorqRegistry registry;
            registry.createKey(existed, registryRoot(root), path, KEY_WRITE, 0);
            registry.closeKey();
        }
        setBoolean(env, created, existed);
    });
}

NORQSTD_EXPORT void JNICALL NATIVE_METHOD(setStrValue)(JNIEnv* env, jobject, jint root, jstring parentKey, jstring key,
                                                       jstring value) {
    constexpr const WChar* function = NATIVE_NAME(u"setStrValue");
    NORQ_LOG_FUNCTION_CALL(function);
    callFromJava(env, function, [&] {
        const WString path = readParentKey(env, parentKey);
        const WString name = readKey(env, key);
        const WString text = getJniString(env, value);
        NORQ_LOG(CALL, function, u"Root <%d> Parent key <%ls> Key <%ls> Value <%ls>.", root, path, name, text);
        withKey(root, path, KEY_WRITE, [&](NorqRegistry& registry) { registry.setStrValue(name, text); });
    });
}

NORQSTD_EXPORT jstring JNICALL NATIVE_METHOD(getStrValue)(JNIEnv* env, jobject, jint root, jstring parentKey,
                                                          jstring key) {
    constexpr const WChar* function = NATIVE_NAME(u"getStrValue");
    NORQ_LOG_FUNCTION_CALL(function);
    return callFromJava(
        env, function,
        [&] {
            const WString path = readParentKey(env, parentKey);
            const WString name = readKey(env, key);
            NORQ_LOG(CALL, function, u"Root <%d> Parent key <%ls> Key <%ls>.", root, path, name);
            return newJniString(*env, withKey(root, path, KEY_READ,
                                              [&](NorqRegistry& registry) { return registry.getStrValue(name); }));
        },
        [&] { return newJniString(*env, {}); });
}

NORQSTD_EXPORT void JNICALL NATIVE_METHOD(setIntValue)(JNIEnv* env, jobject, jint root, jstring parentKey, jstring key,
                                                       jint value) {
    constexpr const WChar* function = NATIVE_NAME(u"setIntValue");
    NORQ_LOG_FUNCTION_CALL(function);
    callFromJava(env, function, [&] {
        const WString path = readParentKey(env, parentKey);
        const WString name = readKey(env, key);
        NORQ_LOG(CALL, function, u"Root <%d> Parent key <%ls> Key <%ls> Value <%d>.", root, path, name, value);
        withKey(root, path, KEY_WRITE, [&](NorqRegistry& registry) { registry.setIntValue(name, value); });
    });
}

NORQSTD_EXPORT jint JNICALL NATIVE_METHOD(getIntValue)(JNIEnv* env, jobject, jint root, jstring parentKey, jstring key,
                                                       jint defaultValue) {
    constexpr const WChar* function = NATIVE_NAME(u"getIntValue");
    NORQ_LOG_FUNCTION_CALL(function);
    return callFromJava(
        env, function,
        [&]() -> jint {
            const WString path = readParentKey(env, parentKey);
            const WString name = readKey(env, key);
            NORQ_LOG(CALL, function, u"Root <%d> Parent key <%ls> Key <%ls> Default <%d>.", root, path, name,
                     defaultValue);
            return withKey(root, path, KEY_READ,
                           [&](NorqRegistry& registry) { return registry.getIntValue(name, defaultValue); });
        },
        [&] { return defaultValue; });
}

NORQSTD_EXPORT void JNICALL NATIVE_METHOD(deleteValue)(JNIEnv* env, jobject, jint root, jstring parentKey,
                                                       jstring key) {
    constexpr const WChar* function = NATIVE_NAME(u"deleteValue");
    NORQ_LOG_FUNCTION_CALL(function);
    callFromJava(env, function, [&] {
        const WString path = readParentKey(env, parentKey);
        const WString name = readKey(env, key);
        NORQ_LOG(CALL, function, u"Root <%d> Parent key <%ls> Key <%ls>.", root, path, name);
        withKey(root, path, KEY_WRITE, [&](NorqRegistry& registry) { registry.deleteValue(name); });
    });
}

NORQSTD_EXPORT void JNICALL NATIVE_METHOD(deleteKey)(JNIEnv* env, jobject, jint root, jstring key) {
    constexpr const WChar* function = NATIVE_NAME(u"deleteKey");
    NORQ_LOG_FUNCTION_CALL(function);
    callFromJava(env, function, [&] {
        const WString path = readKey(env, key);
        NORQ_LOG(CALL, function, u"Root <%d> Key <%ls>.", root, path);
        NorqRegistry().deleteKey(registryRoot(root), path);
    });
}

NORQSTD_EXPORT jobjectArray JNICALL NATIVE_METHOD(getKeys)(JNIEnv* env, jobject, jint root, jstring key) {
    constexpr const WChar* function = NATIVE_NAME(u"getKeys");
    NORQ_LOG_FUNCTION_CALL(function);
    return callFromJava(
        env, function,
        [&] {
            const WString path = readKey(env, key);
            NORQ_LOG(CALL, function, u"Root <%d> Key <%ls>.", root, path);
            return newJniStringArray(
                env, withKey(root, path, KEY_READ, [](NorqRegistry& registry) { return registry.getKeys(); }));
        },
        [&] { return newJniStringArray(env, {}); });
}

NORQSTD_EXPORT jobjectArray JNICALL NATIVE_METHOD(getKeysWithValue)(JNIEnv* env, jobject, jint root, jstring key) {
    constexpr const WChar* function = NATIVE_NAME(u"getKeysWithValue");
    NORQ_LOG_FUNCTION_CALL(function);
    return callFromJava(
        env, function,
        [&] {
            const WString path = readKey(env, key);
            NORQ_LOG(CALL, function, u"Root <%d> Key <%ls>.", root, path);
            return newJniStringArray(
                env, withKey(root, path, KEY_READ, [](NorqRegistry& registry) { return registry.getKeysWithValue(); }));
        },
        [&] { return newJniStringArray(env, {}); });
}

NORQSTD_EXPORT void JNICALL NATIVE_METHOD(startMonitoringKey)(JNIEnv* env, jobject, jint root, jstring key) {
    constexpr const WChar* function = NATIVE_NAME(u"startMonitoringKey");
    NORQ_LOG_FUNCTION_CALL(function);
    callFromJava(env, function, [&] {
        const WString path = readKey(env, key);
        NORQ_LOG(CALL, function, u"Root <%d> Key <%ls>.", root, path);
        startMonitoring(root, path);
    });
}

NORQSTD_EXPORT void JNICALL NATIVE_METHOD(stopMonitoringKey)(JNIEnv* env, jobject, jint root, jstring key) {
    constexpr const WChar* function = NATIVE_NAME(u"stopMonitoringKey");
    NORQ_LOG_FUNCTION_CALL(function);
    callFromJava(env, function, [&] {
        const WString path = readKey(env, key);
        NORQ_LOG(CALL, function, u"Root <%d> Key <%ls>.", root, path);
        stopMonitoring(root, path);
    });
}

/// Null after the shutdown too, which a poller that was busy meets in place of the signal.
NORQSTD_EXPORT jobject JNICALL NATIVE_METHOD(getJniCallbackData)(JNIEnv* env, jobject) {
    return callFromJava(
        env, NATIVE_NAME(u"getJniCallbackData"),
        [&]() -> jobject {
            try {
                return JniCallbackQueue::getInstance().dequeue(env);
            } catch (const NorqIllegalStateException&) {
                if (!CallbackPoll::hasEnded())
                    throw;
                return nullptr;
            }
        },
        [] { return jobject(); });
}

NORQSTD_EXPORT void JNICALL NATIVE_METHOD(terminateJniCallback)(JNIEnv* env, jobject) {
    callFromJava(env, NATIVE_NAME(u"terminateJniCallback"), [] { JniCallbackQueue::getInstance().shutdown(); });
}

NORQSTD_EXPORT void JNICALL NATIVE_METHOD(initLogging)(JNIEnv* env, jobject, jstring configPath, jstring moduleName) {
    callFromJava(env, NATIVE_NAME(u"initLogging"), [&] {
        try {
            const WString path = getJniString(env, configPath);
            const WString module = getJniString(env, moduleName);
            const File file(path);
            Paths::getInstance()->setPath(u"System Config Path Key", file.getAbsolutePath());
            StaticLog::initInstance(module);
        } catch (const NorqException& failure) {
            platform::consoleOutput(u"Unable to initialize logging: " + failure.getMessage() + u"\n");
        }
    });
}

} // extern "C"
