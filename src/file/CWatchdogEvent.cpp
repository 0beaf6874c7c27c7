#include "file/CWatchdogEvent.h"

#include "concurrency/TimeUtils.h"
#include "platform/LocalTime.h"

namespace NorqStd {

CWatchdogEvent::CWatchdogEvent(const SWString& fileName, std::uint32_t eventType)
    : name(fileName)
    , type(eventType) {
    const std::uint64_t now = norq_std::TimeUtils::getCurrentTimeMs();
    norq_std_internal::platform::localTime(static_cast<std::int64_t>(now / 1000), time);
    milliseconds = static_cast<std::int32_t>(now % 1000);
}

} // namespace NorqStd
