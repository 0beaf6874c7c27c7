#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace norq_std_internal::platform {

/// One code page of one and two bytes a character, laid out for direct look-up. Immutable once made.
class CodePageTable {
public:
    /// The table of a page, made on first use and kept for the process; null for a page without one.
    static const CodePageTable* find(std::uint32_t codePage);

    void decode(std::string_view bytes, std::u16string& target) const;
    void encode(std::u16string_view text, std::string& target) const;
    /// Encodes until the text or the room ends; a character of two bytes may need one more than the room. `in` moves
    /// behind what was read; gives the end of what was written.
    unsigned char* encode(const char16_t*& in, const char16_t* end, unsigned char* out, unsigned char* outEnd) const;

private:
    friend class CodePageLoader;

    using DecodeBlock = std::array<char16_t, 256>;
    using EncodeBlock = std::array<std::uint16_t, 256>;

    CodePageTable();

    void setEncoding(char16_t unit, std::uint16_t bytes);
    void map(char16_t unit, std::uint8_t byte);
    void addBestFit(std::uint32_t codePage);

    /// The unit at `in`, which moves behind it.
    char16_t decodeOne(const unsigned char*& in, const unsigned char* end) const;

    DecodeBlock single;                          // the unit of a byte, or LEAD_BYTE
    std::array<std::uint8_t, 256> pairIndex{};   // of a lead byte into pairs
    std::vector<DecodeBlock> pairs;              // by second byte: the unit, UNASSIGNED or NOT_A_PAIR
    std::array<std::uint8_t, 256> encodeIndex{}; // of a unit's high byte into encodeBlocks, whose first is empty
    std::vector<EncodeBlock> encodeBlocks;       // by low byte: one or two bytes, 0 for none
};

} // namespace norq_std_internal::platform
