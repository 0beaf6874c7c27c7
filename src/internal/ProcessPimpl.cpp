#include "internal/ProcessPimpl.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/Concurrency.h"
#include "concurrency/Event.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "internal/ArgumentText.h"
#include "internal/ProcessMonitorThread.h"
#include "platform/NamedEvent.h"
#include "platform/Process.h"

#include <string>
#include <utility>
#include <vector>

namespace norq_std_internal {

using namespace norq_std;
using platform::ProcessHandle;

namespace {

WString decimal(std::uint32_t number) {
    const std::string digits = std::to_string(number);
    return {digits.begin(), digits.end()};
}

NorqAccessException accessFailure(const WString& context) {
    const std::int32_t error = ErrorUtils::getLastError();
    return {context + ErrorUtils::getErrorDescription(error), error};
}

NorqAccessException openFailure(std::uint32_t id) {
    return accessFailure(u"Failed to open process <" + decimal(id) + u">. Error: ");
}

std::shared_ptr<ProcessHandle> startProcess(const File& executable, const WString& arguments,
                                            const File& workingDirectory) {
    std::shared_ptr<ProcessHandle> handle =
        ProcessHandle::start({executable.getPath(), splitArguments(arguments), workingDirectory.getPath()});
    if (handle == nullptr)
        throw accessFailure({});
    return handle;
}

/// Starts the watch of a new child; one that cannot be watched is not left behind.
std::shared_ptr<ProcessMonitorThread> startWatch(const std::shared_ptr<ProcessHandle>& child,
                                                 const std::shared_ptr<Event>& shutdownEvent) {
    try {
        auto thread = std::make_shared<ProcessMonitorThread>(child, shutdownEvent);
        thread->start();
        return thread;
    } catch (...) {
        child->terminate(0);
        throw;
    }
}

std::vector<std::uint32_t> runningProcesses() {
    constexpr const WChar* function = u"norq_std_internal::ProcessPimpl::findProcess";
    NORQ_LOG(CALL, function, u"Getting list of running processes.");
    std::vector<std::uint32_t> ids;
    if (!platform::listProcesses(ids)) {
        NORQ_LOG(DEBUG, function, u"Unable to get process list with error <%d>.", ErrorUtils::getLastError());
        throw NorqAccessException(u"Unable to get list of running processes", ErrorUtils::getLastError());
    }
    NORQ_LOG(CALL, function, u"Found <%d> running processes.", static_cast<int>(ids.size()));
    return ids;
}

/// Whether the process bears the name.
bool hasName(ProcessHandle& process, const WString& name) {
    constexpr const WChar* function = u"norq_std_internal::ProcessPimpl::findProcess";
    WString path;
    if (!process.executable(path)) {
        NORQ_LOG(CALL, function, u"Failed to get process name <%d>", static_cast<int>(process.id()));
        return false;
    }
    if (path.substr(path.rfind(File::pathSeparator) + 1) != name)
        return false;
    NORQ_LOG(CALL, function, u"Found process <%ls>", name);
    return true;
}

} // namespace

ProcessPimpl::ProcessPimpl(const File& executable, const WString& arguments, const File& workingDirectory)
    : shutdownEvent(std::make_shared<Event>(false, false))
    , handle(startProcess(executable, arguments, workingDirectory))
    , monitorThread(startWatch(handle, shutdownEvent)) {}

ProcessPimpl::ProcessPimpl(std::shared_ptr<ProcessHandle> attached)
    : shutdownEvent(std::make_shared<Event>(false, false))
    , handle(std::move(attached))
    , monitorThread(std::make_shared<ProcessMonitorThread>(handle, shutdownEvent)) {}

ProcessPimpl::~ProcessPimpl() { monitorThread->endWatch(); }

std::shared_ptr<ProcessHandle> ProcessPimpl::findProcess(const WString& name, bool withTerminateRight,
                                                         const std::set<std::uint32_t>& except) {
    constexpr const WChar* function = u"norq_std_internal::ProcessPimpl::findProcess";
    NORQ_LOG_FUNCTION_CALL(function);
    const auto right = withTerminateRight ? ProcessHandle::Right::Terminate : ProcessHandle::Right::Read;
    bool anyOpened = false;
    std::unique_ptr<NorqException> lastFailure;
    for (const std::uint32_t id : runningProcesses()) {
        if (except.contains(id))
            continue;
        std::shared_ptr<ProcessHandle> process = ProcessHandle::open(id, right);
        if (process == nullptr) {
            lastFailure.reset(openFailure(id).newInstance());
            NORQ_LOG(CALL, function, u"Failed to open process <%d>", static_cast<int>(id));
            continue;
        }
        anyOpened = true;
        if (hasName(*process, name)) {
            NORQ_LOG(CALL, function, u"Found process.");
            return process;
        }
    }
    if (!anyOpened && lastFailure != nullptr)
        throw static_cast<const NorqAccessException&>(*lastFailure);
    throw NorqIllegalArgumentException(u"Unable to retrieve process.");
}

std::shared_ptr<ProcessHandle> ProcessPimpl::findProcess(std::uint32_t id) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std_internal::ProcessPimpl::findProcess");
    std::shared_ptr<ProcessHandle> process = ProcessHandle::open(id, ProcessHandle::Right::Read);
    if (process == nullptr)
        throw openFailure(id);
    return process;
}

std::shared_ptr<ProcessHandle> ProcessPimpl::currentProcess() {
    std::shared_ptr<ProcessHandle> process =
        ProcessHandle::open(platform::currentProcessId(), ProcessHandle::Right::Read);
    if (process == nullptr)
        throw NorqAccessException(u"Unable to get current process", ErrorUtils::getLastError());
    return process;
}

void ProcessPimpl::killProcess(ProcessHandle& process) {
    constexpr const WChar* function = u"norq_std_internal::ProcessPimpl::killProcess";
    NORQ_LOG_FUNCTION_CALL(function);
    if (!process.terminate(0))
        NORQ_LOG(DEBUG, function, u"Failed to terminate process.");
}

void ProcessPimpl::signalStop(const WString& eventName) {
    constexpr const WChar* function = u"norq_std_internal::ProcessPimpl::signalStop";
    NORQ_LOG_FUNCTION_CALL(function);
    if (eventName.empty())
        return;
    const std::unique_ptr<platform::NamedEvent> event = platform::NamedEvent::open(eventName);
    if (event == nullptr || !event->set()) {
        const std::int32_t error = ErrorUtils::getLastError();
        NORQ_LOG(DEBUG, function, u"Failed to create shutdown event.");
        throw NorqUnknownException(u"Failed to create shutdown event", error);
    }
}

std::uint32_t ProcessPimpl::getId() const { return handle->id(); }

WString ProcessPimpl::getExecutable() const {
    WString path;
    if (!handle->executable(path))
        throw openFailure(handle->id());
    return path;
}

void ProcessPimpl::stop(const WString& eventName, std::int32_t maxWaitTime) {
    signalStop(eventName);
    if (Concurrency::waitForSingleObject(*shutdownEvent, maxWaitTime) != 0)
        killProcess(*handle);
}

bool ProcessPimpl::isRunning() const {
    try {
        getReturnCode();
        return false;
    } catch (const NorqIllegalStateException&) {
        return true;
    } catch (const NorqAccessException&) {
        if (handle->hasEnded()) // and the code is not to be had
            return false;
        throw;
    }
}

int ProcessPimpl::getReturnCode() const {
    constexpr const WChar* function = u"norq_std_internal::ProcessPimpl::getReturnCode";
    NORQ_LOG_FUNCTION_CALL(function);
    std::int32_t code = 0;
    if (!handle->exitCode(code))
        throw accessFailure(u"Unable to get process return code. ");
    if (code == platform::StillActive) {
        NORQ_LOG(CALL, function, u"Process is still running.");
        throw NorqIllegalStateException(u"Process is still running");
    }
    NORQ_LOG(CALL, function, u"Found return code %d.", code);
    return code;
}

std::uint32_t ProcessPimpl::getPriorityClass() const {
    std::uint32_t number = 0;
    if (!handle->priorityClass(number))
        throw accessFailure(u"Unable to access process priority status: ");
    return number;
}

void ProcessPimpl::setPriorityClass(std::uint32_t number) {
    if (!handle->setPriorityClass(number))
        throw accessFailure(u"Unable to change process priority");
}

} // namespace norq_std_internal
