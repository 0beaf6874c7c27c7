#pragma once

#include "base/Export.h"
#include "base/LogEventPriority.h"
#include "base/SWString.h"
#include "base/WString.h"
#include "base/WideFormat.h"

#include <cstdarg>
#include <initializer_list>
#include <type_traits>

namespace norq_std {

/// Base of a catalogue of numbered operational messages.
///
/// A catalogue derives from it, names its module, and gives each message a small method of its own with a fixed text
/// and a fixed priority, so that the number stands in the log line and an operator can look it up:
///
///     void MyCatalogue::APP2001(const WChar* function, const WChar* host) {
///         report(ERROR, NorqStd::SWString(u"app::MyCatalogue::APP2001"), NorqStd::SWString(function),
///                u"Host <%ls> does not answer.", host);
///     }
///
/// Messages are of priority INFO or above and ignore the threshold. Sending one never throws, and any thread may do so.
class NORQSTD_EXPORT NorqLogger {
public:
    virtual ~NorqLogger();

    /// The module that stands in the event of each message.
    virtual WString getModuleName() const = 0;

    /// The part behind the last "::", or the whole text without one.
    static WString getFunctionName(const WString& text);
    /// The last two components, "b::c" of "a::b::c". Of two components the second alone; of one, the text.
    static WString getQualifiedFunctionName(const WString& text);

protected:
    /// Sends one message. `id` is the full name of the catalogue's method, whose last component becomes the event's
    /// error id; `function` is the qualified name of the caller. The compiler refuses a format that does not fit its
    /// arguments.
    template <class... A>
    void report(LogEventPriority priority, const NorqStd::SWString& id, const NorqStd::SWString& function,
                WideFormat<std::type_identity_t<A>...> format, const A&... arguments) {
        reportArguments(priority, {id, function}, format.text(), {FormatArgument(arguments)...});
    }

    /// The same with unchecked values, in the dialect of base/WideFormat.h. A format that cannot be carried out leaves
    /// the message with what could be made of it.
    void Fatal(const NorqStd::SWString& id, const NorqStd::SWString& function, const WChar* format, ...);
    void Error(const NorqStd::SWString& id, const NorqStd::SWString& function, const WChar* format, ...);
    void Warn(const NorqStd::SWString& id, const NorqStd::SWString& function, const WChar* format, ...);
    void Info(const NorqStd::SWString& id, const NorqStd::SWString& function, const WChar* format, ...);

private:
    struct Names {
        const WString& id;
        const WString& function;
    };

    void reportArguments(LogEventPriority priority, const Names& names, const WChar* format,
                         std::initializer_list<FormatArgument> arguments);
    void reportVA(LogEventPriority priority, const Names& names, const WChar* format, std::va_list values);
    template <class Formatter>
    void send(LogEventPriority priority, const Names& names, const Formatter& appendMessage);
};

} // namespace norq_std
