#include "windows/SNTServiceBase.h"

#include "base/EncodingUtils.h"
#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "base/WideChar.h"
#include "concurrency/Concurrency.h"
#include "concurrency/Event.h"
#include "exception/NorqException.h"
#include "internal/LogRoad.h"
#include "log/NTServiceLogger.h"
#include "log/SLog.h"
#include "platform/Error.h"
#include "platform/ServiceControl.h"
#include "platform/ServiceManager.h"
#include "platform/ThreadSuspension.h"
#include "thread/Thread.h"
#include "windows/ServiceStatus.h"

#include <algorithm>
#include <array>
#include <exception>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include <cxxabi.h>

namespace NorqStd {

using norq_std::NTServiceLogger;
using norq_std::WChar;
using norq_std::WString;
using norq_std_internal::LogRoad;
namespace platform = norq_std_internal::platform;

namespace {

/// Guards the handles of all objects: `ServiceMain` makes and closes them while `Handler` uses them.
std::mutex& handlesMutex() {
    static std::mutex& mutex = *new std::mutex;
    return mutex;
}

std::uint32_t numberOf(void* handle) { return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(handle)); }

/// What must go on while a worker stands: the log. The heap is seen to below.
constexpr auto probeLog = [] { LogRoad::whileHeld([] {}); };

void controlOfManager(std::uint32_t control, std::uint32_t, void*, void*) { SNTServiceBase::Handler(control); }

/// The worker's thread, which outlives whoever made it.
class Body : public norq_std::Runnable {
public:
    Body(SNTServiceBase::ThreadProc function, std::shared_ptr<platform::SuspendTarget> own)
        : proc(function)
        , target(std::move(own)) {}

    void run() override {
        struct Attachment {
            Attachment(platform::SuspendTarget& own, platform::SuspendTarget::Code code)
                : target(own) {
                target.attach(code);
            }
            ~Attachment() { target.detach(); }
            platform::SuspendTarget& target;
        };
        const Attachment attachment(*target, reinterpret_cast<platform::SuspendTarget::Code>(proc));
        begun.signal();
        proc(nullptr);
    }

    norq_std::Event begun{false, false};

private:
    const SNTServiceBase::ThreadProc proc;
    const std::shared_ptr<platform::SuspendTarget> target;
};

} // namespace

std::atomic<SNTServiceBase*> SNTServiceBase::_instance{nullptr};

SNTServiceBase::SNTServiceBase(const WString& name, ThreadProc proc, int major, int minor, WString dependencyList,
                               std::uint32_t type, std::uint32_t accepted)
    : log(SLog::GetDefaultLog())
    , serviceName(name)
    , majorVersion(major)
    , minorVersion(minor)
    , statusHandle(nullptr)
    , serviceType(type)
    , currentState(norq_std::SERVICE_STOPPED)
    , controlsAccepted(accepted)
    , dependencies(std::move(dependencyList))
    , threadProc(proc) {
    _instance = this;
}

SNTServiceBase::SNTServiceBase(const SNTServiceBase&) = default;
SNTServiceBase& SNTServiceBase::operator=(const SNTServiceBase&) = default;

SNTServiceBase::~SNTServiceBase() {
    SNTServiceBase* self = this;
    _instance.compare_exchange_strong(self, nullptr);
}

int SNTServiceBase::OnInit() {
    NORQ_LOG(norq_std::TRACE, u"SNTServiceBase::OnInit", u"Begin");
    return 1;
}
void SNTServiceBase::OnStop() { NORQ_LOG(norq_std::TRACE, u"SNTServiceBase::OnStop", u"Begin"); }
void SNTServiceBase::OnInterrogate() { NORQ_LOG(norq_std::TRACE, u"SNTServiceBase::OnInterrogate", u"Begin"); }
void SNTServiceBase::OnPause() { NORQ_LOG(norq_std::TRACE, u"SNTServiceBase::OnPause", u"Begin"); }
void SNTServiceBase::OnContinue() { NORQ_LOG(norq_std::TRACE, u"SNTServiceBase::OnContinue", u"Begin"); }
void SNTServiceBase::OnShutdown() { NORQ_LOG(norq_std::TRACE, u"SNTServiceBase::OnShutdown", u"Begin"); }
int SNTServiceBase::OnUserControl(std::uint32_t control) {
    NORQ_LOG(norq_std::TRACE, u"SNTServiceBase::OnUserControl", u"Begin (%8.8lXH)", control);
    return 0;
}

void SNTServiceBase::SetLog(SLog* newLog) { log = newLog; }

int SNTServiceBase::IsForeground() const { return foreground; }

// ---- installation

int SNTServiceBase::IsInstalled() const {
    NORQ_LOG_FUNCTION_CALL(u"SNTServiceBase::IsInstalled");
    return platform::isServiceInstalled(serviceName) ? 1 : 0;
}

int SNTServiceBase::Install() {
    NORQ_LOG_FUNCTION_CALL(u"SNTServiceBase::Install");
    return platform::installService({serviceName, dependencies}) ? 1 : 0;
}

int SNTServiceBase::Uninstall() {
    NORQ_LOG_FUNCTION_CALL(u"SNTServiceBase::Uninstall");
    if (!platform::isServiceInstalled(serviceName))
        return 0;
    if (platform::removeService(serviceName)) {
        NTServiceLogger::getInstance().SL4022(u"SNTServiceBase::Uninstall");
        return 1;
    }
    const std::int32_t error = norq_std::ErrorUtils::getLastError();
    NTServiceLogger::getInstance().SL4023(u"SNTServiceBase::Uninstall");
    platform::setLastError(error);
    return 0;
}

int SNTServiceBase::ParseStandardArgs(int argc, const char* const* argv) {
    std::vector<WString> texts;
    std::vector<const WChar*> arguments;
    texts.reserve(static_cast<std::size_t>(std::max(argc, 0)));
    arguments.reserve(texts.capacity());
    for (int i = 0; i < argc; ++i)
        texts.push_back(norq_std::EncodingUtils::convertUtf8ToUnicode(argv[i]));
    for (const WString& text : texts)
        arguments.push_back(text.c_str());
    return ParseStandardArgs(argc, arguments.data());
}

int SNTServiceBase::ParseStandardArgs(int argc, const WChar* const* argv) {
    constexpr const WChar* function = u"SNTServiceBase::ParseStandardArgs";
    NORQ_LOG_FUNCTION_CALL(u"SNTServiceBase::ParseStandardArgs");
    if (argc < 2)
        return 0;
    NTServiceLogger& logger = NTServiceLogger::getInstance();
    const WChar* const name = serviceName.c_str();
    WString first = argv[1];
    std::ranges::transform(first, first.begin(), &norq_std::WideChar::toLower);
    const auto is = [&](const WChar* option) { return first == option; };
    if (is(u"-f")) {
        foreground = 1;
        return 0;
    }
    if (is(u"-v")) {
        logger.SL4016(function, name, majorVersion, minorVersion);
        logger.SL4017(function, IsInstalled() != 0 ? u"currently" : u"not");
        return 1;
    }
    if (is(u"-i")) {
        if (IsInstalled() != 0)
            logger.SL4018(function, name);
        else if (Install() != 0)
            logger.SL4019(function, name);
        else
            logger.SL1006(function, name, norq_std::ErrorUtils::getLastError());
        return 1;
    }
    if (is(u"-u")) {
        if (IsInstalled() == 0)
            logger.SL4020(function, name);
        else if (Uninstall() != 0)
            logger.SL4021(function, name);
        else
            logger.SL1007(function, name, norq_std::ErrorUtils::getLastError());
        return 1;
    }
    logger.SL1008(function);
    return 0;
}

// ---- running

int SNTServiceBase::Start() {
    NORQ_LOG(norq_std::TRACE, u"SNTServiceBase::Start", u"Calling StartServiceCtrlDispatcher");
    const bool result = platform::runServiceDispatcher(serviceName, &SNTServiceBase::ServiceMain);
    NORQ_LOG(norq_std::TRACE, u"SNTServiceBase::Start", u"Returned from StartServiceCtrlDispatcher");
    return result ? 1 : 0;
}

WString SNTServiceBase::GetStatusStr(std::uint32_t state) {
    static constexpr std::array<const WChar*, 8> texts{
        u"Unknown Service State", u"SERVICE_STOPPED",          u"SERVICE_START_PENDING", u"SERVICE_STOP_PENDING",
        u"SERVICE_RUNNING",       u"SERVICE_CONTINUE_PENDING", u"SERVICE_PAUSE_PENDING", u"SERVICE_PAUSED"};
    return texts[state < texts.size() ? state : 0];
}

void SNTServiceBase::SetStatus(std::uint32_t state) {
    void* const handle = statusHandle;
    NORQ_LOG(norq_std::TRACE, u"SNTServiceBase::SetStatus", u"Status(%lu, %lu - %ls)", numberOf(handle), state,
             GetStatusStr(state));
    currentState = state;
    norq_std::ServiceStatus status;
    status.serviceType = serviceType;
    status.currentState = state;
    status.controlsAccepted = controlsAccepted;
    status.win32ExitCode = win32ExitCode;
    status.serviceSpecificExitCode = serviceSpecificExitCode;
    status.checkPoint = checkPoint;
    status.waitHint = waitHint;
    platform::reportServiceStatus(handle, status);
}

void SNTServiceBase::ServiceMain(std::uint32_t, WChar**) {
    NORQ_LOG_FUNCTION_CALL(u"SNTServiceBase::ServiceMain");
    if (SNTServiceBase* const self = _instance)
        self->RunService();
}

void SNTServiceBase::RunService() {
    currentState = norq_std::SERVICE_START_PENDING;
    statusHandle = platform::registerServiceHandler(serviceName, &controlOfManager, nullptr);
    if (statusHandle == nullptr) {
        NTServiceLogger::getInstance().SL1009(u"SNTServiceBase::ServiceMain");
        return;
    }
    if (Initialize() != 0) {
        running = 1;
        win32ExitCode = 0;
        checkPoint = 0;
        waitHint = 0;
        if (!StartWorker())
            return;
        SetStatus(norq_std::SERVICE_RUNNING);
        platform::openServiceControls(statusHandle);
        const std::shared_ptr<norq_std::Event> stop = stopEvent; // of this thread alone until it is closed
        norq_std::Concurrency::waitForSingleObject(*stop, -1);
        CloseHandles();
    }
    SetStatus(norq_std::SERVICE_STOPPED);
}

bool SNTServiceBase::StartWorker() {
    try {
        auto event = std::make_shared<norq_std::Event>(true, false);
        {
            const std::lock_guard guard(handlesMutex());
            stopEvent = std::move(event);
        }
        SetStatus(norq_std::SERVICE_START_PENDING);
        auto target = std::make_shared<platform::SuspendTarget>();
        const auto body = std::make_shared<Body>(threadProc, target);
        norq_std::Thread thread(body, u"");
        thread.setJoinOnDestruct(false);
        thread.start();
        norq_std::Concurrency::waitForSingleObject(body->begun, -1);
        const std::lock_guard guard(handlesMutex());
        threadHandle = std::move(target);
        return true;
    } catch (const norq_std::NorqException& failure) {
        NORQ_LOG(norq_std::DEBUG, u"SNTServiceBase::ServiceMain", u"No worker: %ls", failure.getMessage());
    } catch (const std::bad_alloc&) {
        NORQ_LOG(norq_std::DEBUG, u"SNTServiceBase::ServiceMain", u"No worker: out of memory");
    }
    CloseHandles();
    return false;
}

void SNTServiceBase::CloseHandles() {
    const std::lock_guard guard(handlesMutex());
    threadHandle = nullptr;
    stopEvent = nullptr;
}

int SNTServiceBase::CallOnInit() {
    std::int32_t error = platform::ExceptionInService;
    try {
        const int result = OnInit();
        win32ExitCode = static_cast<std::uint32_t>(norq_std::ErrorUtils::getLastError());
        return result;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const norq_std::NorqException& failure) {
        if (failure.getErrNum() != 0)
            error = failure.getErrNum();
        NORQ_LOG(norq_std::DEBUG, u"SNTServiceBase::Initialize", u"OnInit threw an exception: %ls",
                 failure.getMessage());
    } catch (const std::exception& failure) {
        NORQ_LOG(norq_std::DEBUG, u"SNTServiceBase::Initialize", u"OnInit threw an exception: %hs", failure.what());
    } catch (...) {
        NORQ_LOG(norq_std::DEBUG, u"SNTServiceBase::Initialize", u"OnInit threw an exception.");
    }
    win32ExitCode = static_cast<std::uint32_t>(error);
    return 0;
}

int SNTServiceBase::Initialize() {
    NORQ_LOG_FUNCTION_CALL(u"SNTServiceBase::Initialize");
    SetStatus(norq_std::SERVICE_START_PENDING);
    const int result = CallOnInit();
    checkPoint = 0;
    waitHint = 0;
    if (result == 0) {
        NTServiceLogger::getInstance().SL1010(u"SNTServiceBase::Initialize");
        SetStatus(norq_std::SERVICE_STOPPED);
        return 0;
    }
    NTServiceLogger::getInstance().SL4024(u"SNTServiceBase::Initialize");
    SetStatus(norq_std::SERVICE_RUNNING);
    return 1;
}

// ---- controls

SNTServiceBase::Worker SNTServiceBase::GetWorker() const {
    const std::lock_guard guard(handlesMutex());
    return threadHandle;
}

void SNTServiceBase::SignalStop() {
    std::shared_ptr<norq_std::Event> stop;
    {
        const std::lock_guard guard(handlesMutex());
        stop = stopEvent;
    }
    if (stop)
        stop->signal();
}

void SNTServiceBase::Handler(std::uint32_t control) {
    if (SNTServiceBase* const self = _instance) {
        const platform::SuspensionRelief relief(self->GetWorker(), probeLog);
        self->HandleControl(control);
    }
}

void SNTServiceBase::HandleControl(std::uint32_t control) {
    constexpr const WChar* function = u"SNTServiceBase::Handler";
    NORQ_LOG(norq_std::TRACE, u"SNTServiceBase::Handler", u"Begin(%lu)", control);
    switch (control) {
    case norq_std::SERVICE_CONTROL_STOP:
        HandleStop();
        break;
    case norq_std::SERVICE_CONTROL_PAUSE:
        HandlePause();
        break;
    case norq_std::SERVICE_CONTROL_CONTINUE:
        HandleContinue();
        break;
    case norq_std::SERVICE_CONTROL_INTERROGATE:
        OnInterrogate();
        break;
    case norq_std::SERVICE_CONTROL_SHUTDOWN:
        HandleShutdown();
        break;
    default:
        NTServiceLogger::getInstance().SL4033(function);
        if (control < 128 || OnUserControl(control) == 0)
            NTServiceLogger::getInstance().SL2001(function);
    }
    const platform::SuspensionRelief relief(GetWorker(), probeLog); // of one that was stopped just now
    NORQ_LOG(norq_std::TRACE, u"SNTServiceBase::Handler", u"End with Updated status (%lu, %lu)", numberOf(statusHandle),
             std::uint32_t{currentState});
}

void SNTServiceBase::HandleStop() {
    NTServiceLogger::getInstance().SL4025(u"SNTServiceBase::Handler");
    SetStatus(norq_std::SERVICE_STOP_PENDING);
    OnStop();
    running = 0;
    SignalStop();
    SetStatus(norq_std::SERVICE_STOPPED);
    NTServiceLogger::getInstance().SL4026(u"SNTServiceBase::Handler");
}

void SNTServiceBase::HandlePause() {
    NTServiceLogger::getInstance().SL4027(u"SNTServiceBase::Handler");
    SetStatus(norq_std::SERVICE_PAUSE_PENDING);
    running = 0;
    OnPause();
    const Worker worker = GetWorker();
    if (worker)
        worker->suspend(probeLog);
    const platform::SuspensionRelief relief(worker, probeLog);
    SetStatus(norq_std::SERVICE_PAUSED);
    NTServiceLogger::getInstance().SL4028(u"SNTServiceBase::Handler");
}

void SNTServiceBase::HandleContinue() {
    NTServiceLogger::getInstance().SL4029(u"SNTServiceBase::Handler");
    SetStatus(norq_std::SERVICE_CONTINUE_PENDING);
    running = 1;
    OnContinue();
    if (const Worker worker = GetWorker())
        worker->resume();
    SetStatus(norq_std::SERVICE_RUNNING);
}

void SNTServiceBase::HandleShutdown() {
    NTServiceLogger::getInstance().SL4031(u"SNTServiceBase::Handler");
    SetStatus(norq_std::SERVICE_STOP_PENDING);
    OnStop();
    running = 0;
    SignalStop();
    SetStatus(norq_std::SERVICE_STOPPED);
    NTServiceLogger::getInstance().SL4032(u"SNTServiceBase::Handler");
    OnShutdown();
}

} // namespace NorqStd
