#pragma once

#include "platform/Event.h"

#include <memory>
#include <string_view>

namespace norq_std_internal::platform {

/// A manual-reset event that the processes of one user share by its name.
///
/// It exists, with its state, while any process holds it, however those processes end, and is not signalled when it
/// comes into being. Any thread may call.
class NORQSTD_EXPORT NamedEvent final : public WaitObject {
public:
    /// Creates the event or opens that which others hold. Null, with the last error, if the name is empty or, written
    /// out, too long, or the system has no place for it.
    static std::unique_ptr<NamedEvent> open(std::u16string_view name);

    ~NamedEvent() override;
    NamedEvent(const NamedEvent&) = delete;
    NamedEvent& operator=(const NamedEvent&) = delete;

    /// False, with the last error, if the system refuses.
    bool set();

    WaitSource& source() override;
    bool take() override;

private:
    class Source;

    explicit NamedEvent(std::unique_ptr<Source> opened);

    const std::unique_ptr<Source> waitSource;
};

} // namespace norq_std_internal::platform
