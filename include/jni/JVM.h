#pragma once

#include "base/Export.h"
#include "base/WString.h"
#include "jni/JniTypes.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace norq_std {

class File;
class Lock;
class NorqLibrary;

/// The Java virtual machine of this process, of which there can be one.
///
/// Either the program starts it (`loadJVM`), or a machine loads this library (`System.loadLibrary`) and is known from
/// then on. It lives as long as the process: nothing here ends it, and a failed load cannot be tried again.
///
/// Any thread may call any operation. An environment (`getEnv`) belongs to the thread that asked for it.
class NORQSTD_EXPORT JVM {
public:
    /// 1.6, the version of the Java Native Interface that is asked for.
    static constexpr std::int32_t USE_JNI_VERSION = 0x10006;

    /// One installed Java runtime.
    struct JVMInfo {
        WString version;
        WString javaHome;
        WString runtimeLib; ///< path of the virtual machine's library
    };

    /// A version such as 1.6.0_24-b07.
    struct JVMVersion {
        std::int32_t major = 0;
        std::int32_t minor = 0;
        std::int32_t micro = 0;
        std::int32_t update = 0;
        WString qualifier;
    };

    /// Detaches the calling thread from its virtual machine.
    struct NORQSTD_EXPORT JNIEnvDetachDeleter {
        void operator()(JNIEnv* env) const noexcept;
    };

    JVM(const JVM&) = delete;
    JVM& operator=(const JVM&) = delete;
    virtual ~JVM();

    /// Empty if there is no machine and none was tried.
    static std::shared_ptr<JVM> getInstance();

    // Both start a machine with the options, each an argument as of the Java launcher ("-Xmx64m"); those that the
    // machine does not know are ignored. They throw `NorqIllegalArgumentException` if a machine is there or was tried,
    // and `NorqIOException` if it cannot be loaded or does not start. The calling thread belongs to the machine
    // afterwards.

    /// The virtual machine of this library file. Throws `NorqIllegalArgumentException` for what is no readable file.
    static std::shared_ptr<JVM> loadJVM(const File& file, const std::vector<WString>& options);
    /// The one of the registered runtimes that fits the version best, and is no older in any place of it. Throws
    /// `NorqIllegalArgumentException` if there is none.
    static std::shared_ptr<JVM> loadJVM(const WString& version, const std::vector<WString>& options);

    /// Makes a running machine known. False, and nothing changes, if one is.
    static bool setJVM(JavaVM* machine);

    /// A place that is no number gives 0.
    static JVMVersion getJVMVersion(const WString& text);

    /// Null until there is one.
    JavaVM* getJVM() const;

    /// The calling thread's environment, empty or holding null if it cannot be had. A thread that does not belong to
    /// the machine is attached, until the last copy of the pointer goes: hold one over all calls, for each attaching
    /// costs tens of microseconds, and let the last copy go on this thread.
    std::shared_ptr<JNIEnv> getEnv() const;

private:
    JVM();

    static std::shared_ptr<JVM>& instance();
    static Lock& lock();
    static std::vector<JVMInfo> getInstalledJVMs();
    static JVMInfo getBestMatchedJVM(const WString& version);
    void* loadLibrary(const File& file);
    void create(const File& file, const std::vector<WString>& options);

    std::shared_ptr<NorqLibrary> library;
    std::atomic<JavaVM*> vm{nullptr}; // read without the lock
    JNIEnv* env = nullptr;
    std::vector<std::string> optionTexts; // the machine may read them as long as it lives
};

} // namespace norq_std
