#pragma once

#include "base/Export.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace norq_std_internal::platform {

// Names and values as they stand in the database. Text is UTF-8 there; half of a surrogate pair, which names and values
// may hold, takes the three bytes that its number would have.

std::string storedText(std::u16string_view text);
void appendStoredText(std::u16string& target, std::string_view stored);

/// What a name is found by: each character by its simple case folding, as Unicode 15 has it. Characters that are newer
/// stay as they are, so that processes with different versions of the tables agree on every name.
NORQSTD_EXPORT std::string foldedName(std::u16string_view name);

struct RegistryPathElement {
    std::u16string_view name;
    std::string folded;
};

/// The names on a path; the number of an error if it is none (platform/Registry.h).
std::int32_t splitRegistryPath(std::u16string_view path, std::vector<RegistryPathElement>& elements);

/// 0, or 87 for a name that no value can have.
std::int32_t checkRegistryValueName(std::u16string_view name);

/// How the bytes of a value are kept, so that a person can read them: a REG_SZ as text, if it is one with its
/// terminator and no other zero unit, a REG_DWORD as a number, all else as bytes.
enum class StoredForm : std::uint8_t { Text, Number, Bytes };

StoredForm storedForm(std::uint32_t type, std::string_view bytes);
/// The text without its terminator, as it is stored.
std::string textOfBytes(std::string_view bytes);
std::int32_t numberOfBytes(std::string_view bytes);
std::string bytesOfText(std::string_view stored);
std::string bytesOfNumber(std::int64_t number);

} // namespace norq_std_internal::platform
