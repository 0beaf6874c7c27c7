#pragma once

#include "base/Export.h"

#include <cstdint>
#include <memory>
#include <string_view>

namespace norq_std_internal::platform {

/// How grave an event is, in the numbers of the family.
enum class EventType : std::uint16_t { Error = 1, Warning = 2, Information = 4 };

/// A program under the name with which it reports to the system's event log.
///
/// An event goes to the journal of systemd, by the journal's own protocol (MESSAGE, PRIORITY, SYSLOG_IDENTIFIER,
/// NORQ_EVENT_ID as 0x and eight digits, and NORQ_EVENT_CATEGORY where it is not 0), and where no journal listens to
/// syslog, as a line of syslog(3). The priorities are 3, 4 and 6 (LOG_ERR, LOG_WARNING, LOG_INFO); what is no type of
/// `EventType` counts as information. The text is UTF-8 there, U+FFFD for a lone surrogate. The journal takes it as it
/// is and however long; for syslog a zero becomes a blank, and what is longer than a datagram is cut.
///
/// NORQSTD_JOURNAL_SOCKET and NORQSTD_SYSLOG_SOCKET in the environment move the sockets from
/// /run/systemd/journal/socket and /dev/log; they are read when the source is registered. Any thread may report.
class NORQSTD_EXPORT EventSource {
public:
    /// Null, with the last error, if neither of the two listens.
    static std::unique_ptr<EventSource> open(std::u16string_view name);

    virtual ~EventSource() = default;
    EventSource(const EventSource&) = delete;
    EventSource& operator=(const EventSource&) = delete;

    /// False, with the last error, if nobody took it. One who listens and takes nothing is waited for a second, and
    /// from then on not at all until it takes something.
    virtual bool report(EventType type, std::uint32_t identifier, std::uint16_t category, std::u16string_view text) = 0;

protected:
    EventSource() = default;
};

} // namespace norq_std_internal::platform
