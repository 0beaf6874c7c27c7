#pragma once

#include <cstdint>

namespace norq_std_internal::platform {

/// Instructions of a function through which an exception may pass, as offsets from the function's start.
struct CallSite {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    bool cleansUp = false; ///< or catches; otherwise the exception goes on to the caller
    bool catches = false;  ///< some exception, perhaps not every

    bool covers(std::uintptr_t offset) const { return offset >= begin && offset < end; }
};

/// Reads the call sites of one function from its exception table (the language-specific data of the C++ personality),
/// in the order of their addresses. Safe in a signal handler.
class CallSites {
public:
    /// A function of which the table is null has none: every exception passes.
    explicit CallSites(const void* table);

    bool hasTable() const { return at != nullptr; }
    /// False for a table of a form that the compiler does not write; nothing is read from that.
    bool isReadable() const { return readable; }
    /// The next call site; false behind the last.
    bool next(CallSite& site);

private:
    std::uintptr_t number();
    std::uintptr_t value();

    const std::uint8_t* at;
    const std::uint8_t* end = nullptr; ///< null: nothing to read
    std::uint8_t encoding = 0;
    bool readable = true;
};

} // namespace norq_std_internal::platform
