#pragma once

#include "Text.h"

#include <cstdint>
#include <string>

namespace norqreg {

enum class Hive : std::uint8_t { CURRENT_USER, LOCAL_MACHINE };

/// A place in the registry.
struct KeyPath {
    Hive hive = Hive::CURRENT_USER;
    WString path; ///< names with backslashes between, empty for the hive itself

    /// "HKCU\Software\X" with either slash, one at the end included. Throws `Failure` (`WRONG_USAGE`).
    static KeyPath parse(const WString& text);

    bool isHive() const { return path.empty(); }
    KeyPath child(const WString& name) const { return {hive, isHive() ? name : path + u"\\" + name}; }
    /// The last name, or the hive's.
    WString leaf() const;
    WString toText() const; ///< "HKCU\Software\X"
    /// The same for a list.
    std::string toReadable() const { return readable(toText()); }
};

/// "HKCU" or "HKLM".
WString nameOf(Hive hive);
/// Whether these name the same key or value: without regard to case.
bool isSameName(const WString& a, const WString& b);

} // namespace norqreg
