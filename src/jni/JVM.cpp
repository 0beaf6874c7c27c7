#include "jni/JVM.h"

#include "base/EncodingUtils.h"
#include "base/ErrorUtils.h"
#include "base/Functor.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Lock.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "library/NorqLibrary.h"
#include "platform/Faults.h"

#include <cxxabi.h>
#include <jni.h>

namespace norq_std {

namespace platform = norq_std_internal::platform;

namespace {

constexpr const WChar* LOAD = u"norq_std::JVM::loadJVM";

using CreateJavaVM = jint(JNICALL*)(JavaVM**, void**, void*);

void tellFaults(const JavaVM& machine) {
    platform::setVirtualMachine(reinterpret_cast<const void*>(machine.functions->GetEnv));
}

} // namespace

JVM::JVM() = default;
JVM::~JVM() = default;

// Neither is destroyed: threads of the machine run until the process ends.
std::shared_ptr<JVM>& JVM::instance() {
    static std::shared_ptr<JVM>& pointer = *new std::shared_ptr<JVM>;
    return pointer;
}

Lock& JVM::lock() {
    static Lock& guard = *new Lock;
    return guard;
}

std::shared_ptr<JVM> JVM::getInstance() {
    const AutoLock<Lock> guard(lock());
    return instance();
}

bool JVM::setJVM(JavaVM* machine) {
    const AutoLock<Lock> guard(lock());
    if (!instance())
        instance() = std::shared_ptr<JVM>(new JVM);
    if (instance()->vm.load(std::memory_order_relaxed) != nullptr)
        return false;
    if (machine != nullptr)
        tellFaults(*machine);
    instance()->vm.store(machine, std::memory_order_release);
    return true;
}

std::shared_ptr<JVM> JVM::loadJVM(const File& file, const std::vector<WString>& options) {
    NORQ_LOG_FUNCTION_CALL_TEXT(LOAD, u"Begin. runtimeLib=<%ls>.", file.getCanonicalPath());
    if (!file.isFile() || !file.canRead())
        throw NorqIllegalArgumentException(u"Invalid file parameter.");
    const AutoLock<Lock> guard(lock());
    ErrorUtils::isNotNullEx(instance().get(), LOAD, u"Instance", 0);
    instance() = std::shared_ptr<JVM>(new JVM);
    instance()->create(file, options);
    NORQ_LOG(DEBUG, LOAD, u"JVM loaded successfully.");
    return instance();
}

std::shared_ptr<JVM> JVM::loadJVM(const WString& version, const std::vector<WString>& options) {
    NORQ_LOG_FUNCTION_CALL(LOAD);
    const AutoLock<Lock> guard(lock());
    ErrorUtils::isNotNullEx(instance().get(), LOAD, u"Instance", 0);
    const JVMInfo runtime = getBestMatchedJVM(version);
    NORQ_LOG(DEBUG, LOAD, u"Using JVM Version: <%ls>.", runtime.version);
    return loadJVM(File(runtime.runtimeLib), options);
}

JavaVM* JVM::getJVM() const { return vm.load(std::memory_order_acquire); }

std::shared_ptr<JNIEnv> JVM::getEnv() const {
    JavaVM* const machine = getJVM();
    if (machine == nullptr)
        return {};
    void* found = nullptr;
    const jint result = machine->GetEnv(&found, USE_JNI_VERSION);
    if (result != JNI_EDETACHED)
        return {static_cast<JNIEnv*>(found), null_deleter()};
    NORQ_LOG(DEBUG, u"norq_std::JVM::getEnv", u"Attaching current thread to JVM.");
    platform::giveUpStackReserve();
    if (machine->AttachCurrentThread(&found, nullptr) != JNI_OK)
        return {};
    return {static_cast<JNIEnv*>(found), JNIEnvDetachDeleter()};
}

void JVM::JNIEnvDetachDeleter::operator()(JNIEnv* attached) const noexcept {
    JavaVM* machine = nullptr;
    if (attached == nullptr || attached->GetJavaVM(&machine) != JNI_OK || machine == nullptr)
        return;
    NORQ_LOG(DEBUG, u"norq_std::JVM::JNIEnvDetachDeleter", u"Detaching current thread from JVM.");
    machine->DetachCurrentThread();
}

/// The entry point that starts a machine.
void* JVM::loadLibrary(const File& file) {
    try {
        NORQ_LOG(TRACE, LOAD, u"Load JVM Library.");
        library = std::make_shared<NorqLibrary>(file);
    } catch (const NorqException& e) {
        NORQ_LOG(TRACE, LOAD, u"Unable to load jvm <%ls>: <%ls>. ", file.getCanonicalPath(), e.getMessage());
        throw NorqIOException(u"Unable to load JVM.", e);
    }
    try {
        NORQ_LOG(TRACE, LOAD, u"Load JNI_CreateJavaVM symbol.");
        return library->getSymbol<void*>(u"JNI_CreateJavaVM");
    } catch (const NorqException& e) {
        NORQ_LOG(TRACE, LOAD, u"Unable to load JNI_CreateJavaVM symbol: <%ls>.", e.getMessage());
        throw NorqIOException(u"Unable to load JVM", e);
    }
}

void JVM::create(const File& file, const std::vector<WString>& options) {
    auto* const createJavaVM = reinterpret_cast<CreateJavaVM>(loadLibrary(file));
    NORQ_LOG(TRACE, LOAD, u"Initializing JVM Options.");
    optionTexts.reserve(options.size());
    std::vector<JavaVMOption> machineOptions;
    for (const WString& option : options) {
        NORQ_LOG(TRACE, LOAD, u"Adding option: <%ls>.", option);
        std::string& text = optionTexts.emplace_back(EncodingUtils::convertUnicodeToUtf8(option));
        NORQ_LOG(TRACE, LOAD, u"jvmOptions[%d].optionString=<%hs>.", static_cast<int>(machineOptions.size()), text);
        machineOptions.push_back({text.data(), nullptr});
    }
    NORQ_LOG(TRACE, LOAD, u"Initializing args.");
    JavaVMInitArgs arguments = {};
    arguments.version = USE_JNI_VERSION;
    arguments.nOptions = static_cast<jint>(machineOptions.size());
    arguments.options = machineOptions.empty() ? nullptr : machineOptions.data();
    arguments.ignoreUnrecognized = JNI_TRUE;
    // The machine's handlers have to come first, and a thread that it runs on keeps its stack as it wants it.
    platform::installFaultHandlers();
    platform::setVirtualMachine(reinterpret_cast<const void*>(createJavaVM)); // from its first thread on
    platform::giveUpStackReserve();
    JavaVM* machine = nullptr;
    void* created = nullptr;
    if (const jint result = createJavaVM(&machine, &created, &arguments); result < 0) {
        platform::setVirtualMachine(nullptr);
        throw NorqIOException(u"Unable to create Java Virtual Machine.", result);
    }
    env = static_cast<JNIEnv*>(created);
    tellFaults(*machine);
    vm.store(machine, std::memory_order_release);
}

} // namespace norq_std

/// Called by a virtual machine that loads this library. What goes wrong here must not reach it.
extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* machine, void* /*reserved*/) {
    try {
        norq_std::JVM::setJVM(machine);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) { // NOLINT(bugprone-empty-catch): the machine is unknown then, as before
    }
    return norq_std::JVM::USE_JNI_VERSION;
}
