#include "windows/NTEventLogWrapper.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "platform/EventLog.h"
#include "system/Paths.h"
#include "windows/NorqRegistry.h"

#include <array>

namespace norq_std_internal {

using namespace norq_std;

namespace {

constexpr std::int32_t AllTypes = 7; // error, warning, information

// Each shows the one text that is inserted.
constexpr const WChar* InsertedText = u"%1\r\n";
constexpr std::array<EventMessage, 5> Messages{{{0x00000000, InsertedText},
                                                {0x40000002, InsertedText},
                                                {0x80000003, InsertedText},
                                                {0x80000004, InsertedText},
                                                {0xC0000005, InsertedText}}};

WString keyOf(const WString& sourceName) {
    return u"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\" + sourceName;
}

} // namespace

NTEventLogWrapper::NTEventLogWrapper(const WString& sourceName) {
    createEventLogEntry(sourceName);
    registerEventSource(sourceName);
}

NTEventLogWrapper::~NTEventLogWrapper() { unregisterEventSource(); }

bool NTEventLogWrapper::reportEvent(std::uint16_t eventType, std::uint32_t eventId, std::uint16_t category,
                                    const WString& text) {
    platform::EventSource* const source = getEventLogHandle();
    return source != nullptr && source->report(static_cast<platform::EventType>(eventType), eventId, category, text);
}

bool NTEventLogWrapper::eventLogEntryExists(const WString& sourceName) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std_internal::NTEventLogWrapper::eventLogEntryExists");
    try {
        NorqRegistry registry;
        registry.openKey(HKEY_LOCAL_MACHINE, keyOf(sourceName), KEY_QUERY_VALUE);
        registry.closeKey();
        return true;
    } catch (const NorqException&) {
        return false;
    }
}

void NTEventLogWrapper::createEventLogEntry(const WString& sourceName) {
    const WString folder = Paths::getInstance()->getPath(u"System Executable Path Key", u".");
    createEventLogEntry(sourceName, File(File(folder), u"NorqStd.dll").getCanonicalPath(), u"", 0);
}

void NTEventLogWrapper::createEventLogEntry(const WString& sourceName, const WString& eventMessageFile,
                                            const WString& categoryMessageFile, std::int32_t categoryCount) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std_internal::NTEventLogWrapper::createEventLogEntry");
    try {
        NorqRegistry registry;
        bool existed = false;
        registry.createKey(existed, HKEY_LOCAL_MACHINE, keyOf(sourceName), KEY_SET_VALUE, 0);
        registry.setStrValue(u"EventMessageFile", eventMessageFile);
        registry.setIntValue(u"TypesSupported", AllTypes);
        if (!categoryMessageFile.empty() && categoryCount > 0) {
            registry.setStrValue(u"CategoryMessageFile", categoryMessageFile);
            registry.setIntValue(u"CategoryCount", categoryCount);
        }
        registry.closeKey();
    } catch (const NorqException& e) {
        throw NorqIOException(u"Unable to create event log entry.", e);
    }
}

std::span<const EventMessage> NTEventLogWrapper::getMessages() { return Messages; }

void NTEventLogWrapper::registerEventSource(const WString& sourceName) {
    handle = platform::EventSource::open(sourceName);
    if (!handle)
        throw NorqIOException(u"Error registering event source: " + ErrorUtils::getLastErrorDescription(),
                              ErrorUtils::getLastError());
}

void NTEventLogWrapper::unregisterEventSource() { handle.reset(); }

platform::EventSource* NTEventLogWrapper::getEventLogHandle() const { return handle.get(); }

} // namespace norq_std_internal
