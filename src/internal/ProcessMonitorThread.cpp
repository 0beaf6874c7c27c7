#include "internal/ProcessMonitorThread.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/Event.h"
#include "exception/NorqException.h"
#include "platform/Process.h"

#include <array>
#include <utility>

namespace norq_std_internal {

using namespace norq_std;

namespace {

constexpr std::int32_t JoinMs = 3000;

} // namespace

ProcessMonitorThread::ProcessMonitorThread(std::shared_ptr<platform::ProcessHandle> watched,
                                           std::shared_ptr<Event> shutdown)
    : Thread(u"ProcessMonitorThread")
    , process(std::move(watched))
    , endEvent(std::make_shared<platform::Event>(platform::Event::Reset::Manual))
    , shutdownEvent(std::move(shutdown)) {
    if (!endEvent->valid())
        throw NorqOutOfResourcesException(ErrorUtils::getLastErrorDescription(), ErrorUtils::getLastError());
}

ProcessMonitorThread::~ProcessMonitorThread() {
    NORQ_LOG(CALL, u"norq_std_internal::ProcessMonitorThread::~ProcessMonitorThread", u"Attempting to join thread.");
    join(JoinMs);
}

void ProcessMonitorThread::endWatch() { endEvent->set(); }

void ProcessMonitorThread::run() {
    constexpr const WChar* function = u"norq_std_internal::ProcessMonitorThread::run";
    NORQ_LOG_FUNCTION_CALL(function);
    const auto watched = process;
    const auto end = endEvent;
    const auto shutdown = shutdownEvent;
    std::int32_t code = 0;
    if (watched->exitCode(code) && code == platform::StillActive) {
        NORQ_LOG(CALL, function, u"Process still active.");
        const std::array<platform::WaitObject*, 2> objects{watched.get(), end.get()};
        platform::waitForAny(objects, -1);
        watched->exitCode(code); // a child is reaped by this
    } else {
        NORQ_LOG(CALL, function, u"Process has already terminated.");
    }
    shutdown->signal();
}

} // namespace norq_std_internal
