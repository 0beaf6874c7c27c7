#include "process/Process.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "internal/ProcessPimpl.h"
#include "platform/Process.h"
#include "process/IProcessEventListener.h"

#include <algorithm>
#include <set>
#include <string>

namespace norq_std {

using norq_std_internal::ProcessPimpl;
namespace platform = norq_std_internal::platform;

namespace {

struct PriorityRow {
    ProcessPriority priority;
    std::uint32_t number;
};

constexpr PriorityRow Priorities[] = {
    {PRIORITY_REALTIME, platform::RealtimePriority},        {PRIORITY_HIGH, platform::HighPriority},
    {PRIORITY_ABOVE_NORMAL, platform::AboveNormalPriority}, {PRIORITY_NORMAL, platform::NormalPriority},
    {PRIORITY_BELOW_NORMAL, platform::BelowNormalPriority}, {PRIORITY_IDLE, platform::IdlePriority},
};

File existingExecutable(const File& executable) {
    File file = executable.getAbsoluteFile();
    if (!file.exists())
        throw NorqAccessException(u"File not found: " + file.getPath());
    return file;
}

} // namespace

IProcessEventListener::~IProcessEventListener() = default;

Process::Process(const File& executable, const WString& arguments, const File& workingDirectory)
    : Process(executable, arguments, workingDirectory, {}) {}

Process::Process(const File& executable, const WString& arguments, const File& workingDirectory,
                 const std::list<WString>& environment)
    : processPath(existingExecutable(executable)) {
    constexpr const WChar* function = u"norq_std::Process::Process";
    NORQ_LOG_FUNCTION_CALL(function);
    const WString directory = workingDirectory.getPath();
    NORQ_LOG(CALL, function, u"Creating process <%ls>.", processPath.getPath());
    NORQ_LOG(CALL, function, u"Process arguments <%ls>.", arguments);
    NORQ_LOG(CALL, function, u"Process working directory <%ls>.", directory);
    if (!environment.empty())
        NORQ_LOG(DEBUG, function, u"Warning environment variables not supported on Windows!");
    if (!directory.empty() && !workingDirectory.exists())
        throw NorqAccessException(u"Working directory does not exist");
    pimpl = std::make_shared<ProcessPimpl>(processPath, arguments, workingDirectory);
    id = pimpl->getId();
}

Process::Process(const std::shared_ptr<ProcessPimpl>& attached)
    : pimpl(attached)
    , processPath(attached->getExecutable())
    , id(attached->getId()) {}

Process::~Process() = default;

WString Process::toString() const { return u"Process{path='" + processPath.getCanonicalPath() + u"'}"; }

std::shared_ptr<Process> Process::getProcessByName(const WString& name) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Process::getProcessByName");
    const auto attached = std::make_shared<ProcessPimpl>(ProcessPimpl::findProcess(name, false));
    return std::shared_ptr<Process>(new Process(attached));
}

std::shared_ptr<Process> Process::getProcessById(unsigned id) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Process::getProcessById");
    return std::shared_ptr<Process>(new Process(std::make_shared<ProcessPimpl>(ProcessPimpl::findProcess(id))));
}

std::shared_ptr<Process> Process::getCurrentProcess() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Process::getCurrentProcess");
    return std::shared_ptr<Process>(new Process(std::make_shared<ProcessPimpl>(ProcessPimpl::currentProcess())));
}

unsigned Process::getCurrentProcessId() { return platform::currentProcessId(); }

void Process::killProcessByName(const WString& name) {
    constexpr const WChar* function = u"norq_std::Process::killProcessByName";
    NORQ_LOG_FUNCTION_CALL(function);
    try {
        std::set<std::uint32_t> survivors; // which would be found for ever
        for (;;) {
            const std::shared_ptr<platform::ProcessHandle> process = ProcessPimpl::findProcess(name, true, survivors);
            ProcessPimpl::killProcess(*process);
            if (!process->hasEnded())
                survivors.insert(process->id());
        }
    } catch (const NorqException& e) {
        NORQ_LOG(DEBUG, function,
                 u"Caught exception while either finding process or killing process. Exception: <%ls>.",
                 e.getMessage());
    }
}

unsigned Process::getId() const { return id; }
WString Process::getProcessName() const { return processPath.getName(); }
WString Process::getProcessPath() const { return processPath.getPath(); }
void Process::setMaxWaitTime(std::int32_t ms) { maxWaitTime = ms; }

ProcessPriority Process::getPriority() const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Process::getPriority");
    const PriorityRow* const row = std::ranges::find(Priorities, pimpl->getPriorityClass(), &PriorityRow::number);
    if (row == std::end(Priorities))
        throw NorqAccessException(u"Unable to access process priority status: " +
                                  ErrorUtils::getLastErrorDescription());
    return row->priority;
}

void Process::setPriority(ProcessPriority priority) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Process::setPriority");
    const PriorityRow* const row = std::ranges::find(Priorities, priority, &PriorityRow::priority);
    if (row == std::end(Priorities)) {
        const std::string number = std::to_string(static_cast<int>(priority));
        throw NorqIllegalArgumentException(u"Attempted to set an invalid priority value: " +
                                           WString(number.begin(), number.end()));
    }
    pimpl->setPriorityClass(row->number);
}

void Process::signalShutdown(const WString& eventName) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Process::signalShutdown");
    ProcessPimpl::signalStop(eventName);
}

void Process::stop(const WString& eventName) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Process::stop");
    pimpl->stop(eventName, maxWaitTime);
}

bool Process::isRunning() const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Process::isRunning");
    return pimpl->isRunning();
}

int Process::getExitCode() const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Process::getExitCode");
    return pimpl->getReturnCode();
}

std::shared_ptr<Event> Process::getShutdownEvent() const { return pimpl->getShutdownEvent(); }

} // namespace norq_std
