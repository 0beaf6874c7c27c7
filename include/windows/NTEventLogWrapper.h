#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstdint>
#include <memory>
#include <span>

namespace norq_std_internal {

namespace platform {
class EventSource;
}

/// A text that the event log shows for an identifier: "%1" in it stands for the text that was reported.
struct EventMessage {
    std::uint32_t identifier; ///< its two highest bits are the severity: 1 informational, 2 warning, 3 error
    const norq_std::WChar* text;
};

/// A source of the event log: the entry in the registry that describes it, and the registration under which the process
/// reports. Registered from construction to destruction; the entry stays. It has no lock of its own; reports of several
/// threads do not disturb each other.
class NORQSTD_EXPORT NTEventLogWrapper {
public:
    static constexpr std::uint16_t MessageLanguage = 1033; ///< English (United States)

    /// Writes the entry, over an old one, and registers the source. Throws `NorqIOException` if either fails.
    explicit NTEventLogWrapper(const norq_std::WString& sourceName);
    virtual ~NTEventLogWrapper();
    NTEventLogWrapper(const NTEventLogWrapper&) = delete;
    NTEventLogWrapper& operator=(const NTEventLogWrapper&) = delete;

    /// Reports a text. `eventType` is 1 error, 2 warning, 4 information; category 0 is none. False, with the last
    /// error, if the event log does not take it.
    bool reportEvent(std::uint16_t eventType, std::uint32_t eventId, std::uint16_t category,
                     const norq_std::WString& text);

    /// Whether the registry has an entry of the source that can be read. Throws nothing.
    static bool eventLogEntryExists(const norq_std::WString& sourceName);
    /// Writes the entry with this library as the file of messages, and without categories.
    static void createEventLogEntry(const norq_std::WString& sourceName);
    /// The categories are left out where there is no file of them or their count is not above 0. Throws
    /// `NorqIOException` with what the registry says nested in it.
    static void createEventLogEntry(const norq_std::WString& sourceName, const norq_std::WString& eventMessageFile,
                                    const norq_std::WString& categoryMessageFile, std::int32_t categoryCount);

    /// The messages of the identifiers that the library reports, for a program that shows events.
    static std::span<const EventMessage> getMessages();

private:
    void registerEventSource(const norq_std::WString& sourceName);
    void unregisterEventSource();
    platform::EventSource* getEventLogHandle() const;

    std::unique_ptr<platform::EventSource> handle;
};

} // namespace norq_std_internal
