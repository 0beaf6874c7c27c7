#include "platform/linux/CodePageTable.h"

#include "internal/AsciiRuns.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>

namespace norq_std_internal::platform {

namespace {

// Not characters, so no page has them.
constexpr char16_t UNASSIGNED = 0xFFFE; ///< well-formed bytes that stand for nothing
constexpr char16_t NOT_A_PAIR = 0xFFFF; ///< the second byte cannot follow the first
constexpr char16_t LEAD_BYTE = 0xFFFF;

constexpr std::size_t CHUNK = 1024;

struct BestFit {
    char16_t first;
    std::uint8_t count;
    std::uint16_t bytes;
    std::uint8_t step;
    std::uint8_t pages;
};

constexpr std::uint32_t BEST_FIT_PAGES[] = {932, 1250, 1251, 1252, 1254, 1256};
constexpr BestFit BEST_FITS[] = {
#include "platform/linux/BestFit.inc"
};

/// The bytes 80 to 9F of windows-1252; the five that it leaves undefined are the controls of the same value.
constexpr char16_t WINDOWS_1252_UPPER[] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

struct ByteMapping {
    std::uint8_t byte;
    char16_t unit;
};

/// Where windows-932 and the converter differ.
constexpr ByteMapping WINDOWS_932_BYTES[] = {
    {0x1A, 0x001A}, {0x1C, 0x001C}, {0x7F, 0x007F}, {0x80, 0x0080},
    {0xA0, 0xF8F0}, {0xFD, 0xF8F1}, {0xFE, 0xF8F2}, {0xFF, 0xF8F3},
};

/// The converter of a page, and the table that is made of it.
struct Source {
    std::uint32_t codePage;
    const char* converter;
    std::once_flag once{};
    const CodePageTable* table = nullptr;
};

struct CloseConverter {
    void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using ConverterPtr = std::unique_ptr<UConverter, CloseConverter>;

} // namespace

/// Fills tables, from our own data or by asking a converter for every character.
class CodePageLoader {
public:
    static const CodePageTable* makeWindows1252() {
        auto* const table = new CodePageTable;
        for (unsigned byte = 0; byte < 0x100; ++byte) {
            const bool upper = byte >= 0x80 && byte < 0xA0;
            table->map(upper ? WINDOWS_1252_UPPER[byte - 0x80] : static_cast<char16_t>(byte),
                       static_cast<std::uint8_t>(byte));
        }
        table->addBestFit(1252);
        return table;
    }

    static const CodePageTable* make(std::uint32_t codePage, const char* name) {
        UErrorCode error = U_ZERO_ERROR;
        const ConverterPtr converter(ucnv_open(name, &error));
        if (error == U_MEMORY_ALLOCATION_ERROR)
            throw std::bad_alloc(); // so that the next caller tries again
        if (U_FAILURE(error))
            return nullptr;
        ucnv_setFallback(converter.get(), true);
        ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
        ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);

        auto table = std::unique_ptr<CodePageTable>(new CodePageTable);
        readDecoding(*converter, *table);
        readEncoding(*converter, *table);
        if (codePage == 932)
            for (const auto& [byte, unit] : WINDOWS_932_BYTES)
                table->map(unit, byte);
        table->addBestFit(codePage);
        return table.release();
    }

private:
    static char16_t decode(UConverter& converter, std::string_view bytes) {
        char16_t unit[2];
        char16_t* out = unit;
        const char* in = bytes.data();
        UErrorCode error = U_ZERO_ERROR;
        ucnv_resetToUnicode(&converter);
        ucnv_toUnicode(&converter, &out, std::end(unit), &in, in + bytes.size(), nullptr, true, &error);
        if (error == U_TRUNCATED_CHAR_FOUND)
            return LEAD_BYTE;
        // A pair that is not well-formed is given up after its first byte.
        if (error == U_ILLEGAL_CHAR_FOUND)
            return NOT_A_PAIR;
        return U_SUCCESS(error) && out == unit + 1 ? unit[0] : UNASSIGNED;
    }

    static void readDecoding(UConverter& converter, CodePageTable& table) {
        for (std::size_t lead = 0; lead < 0x100; ++lead) {
            char bytes[] = {static_cast<char>(lead), 0};
            table.single[lead] = decode(converter, {bytes, 1});
            if (table.single[lead] != LEAD_BYTE)
                continue;
            table.pairIndex[lead] = static_cast<std::uint8_t>(table.pairs.size());
            CodePageTable::DecodeBlock& block = table.pairs.emplace_back();
            for (std::size_t trail = 0; trail < 0x100; ++trail) {
                bytes[1] = static_cast<char>(trail);
                block[trail] = decode(converter, {bytes, 2});
            }
        }
    }

    static void readEncoding(UConverter& converter, CodePageTable& table) {
        for (std::uint32_t value = 0; value < 0xFFFE; ++value) {
            if (value >= 0xD800 && value < 0xE000)
                continue;
            const auto unit = static_cast<char16_t>(value);
            unsigned char bytes[4];
            char* out = reinterpret_cast<char*>(bytes);
            const char16_t* in = &unit;
            UErrorCode error = U_ZERO_ERROR;
            ucnv_resetFromUnicode(&converter);
            ucnv_fromUnicode(&converter, &out, out + sizeof bytes, &in, in + 1, nullptr, true, &error);
            const auto length = out - reinterpret_cast<char*>(bytes);
            if (U_SUCCESS(error) && (length == 1 || length == 2))
                table.setEncoding(unit, static_cast<std::uint16_t>(length == 1 ? bytes[0] : bytes[0] << 8 | bytes[1]));
        }
    }
};

CodePageTable::CodePageTable()
    : encodeBlocks(1) {
    single.fill(UNASSIGNED);
}

const CodePageTable* CodePageTable::find(std::uint32_t codePage) {
    static const CodePageTable& windows1252 = *CodePageLoader::makeWindows1252();
    if (codePage == 1252)
        return &windows1252;

    static Source* const sources = new Source[8]{
        {932, "ibm-943_P15A-2003"},   {936, "windows-936-2000"},    {949, "windows-949-2000"},
        {950, "windows-950-2000"},    {1250, "ibm-5346_P100-1998"}, {1251, "ibm-5347_P100-1998"},
        {1254, "ibm-5350_P100-1998"}, {1256, "ibm-9448_X100-2005"},
    };
    Source* const source =
        std::find_if(sources, sources + 8, [codePage](const Source& known) { return known.codePage == codePage; });
    if (source == sources + 8)
        return nullptr;
    std::call_once(source->once,
                   [source] { source->table = CodePageLoader::make(source->codePage, source->converter); });
    return source->table;
}

void CodePageTable::setEncoding(char16_t unit, std::uint16_t bytes) {
    std::uint8_t& index = encodeIndex[unit >> 8];
    if (index == 0) {
        index = static_cast<std::uint8_t>(encodeBlocks.size());
        encodeBlocks.emplace_back();
    }
    encodeBlocks[index][unit & 0xFF] = bytes;
}

void CodePageTable::map(char16_t unit, std::uint8_t byte) {
    single[byte] = unit;
    setEncoding(unit, byte);
}

void CodePageTable::addBestFit(std::uint32_t codePage) {
    const auto page = std::ranges::find(BEST_FIT_PAGES, codePage);
    if (page == std::end(BEST_FIT_PAGES))
        return;
    const int bit = 1 << (page - BEST_FIT_PAGES);
    for (const BestFit& run : BEST_FITS)
        for (int i = 0; (run.pages & bit) != 0 && i < run.count; ++i)
            setEncoding(static_cast<char16_t>(run.first + i), static_cast<std::uint16_t>(run.bytes + i * run.step));
}

char16_t CodePageTable::decodeOne(const unsigned char*& in, const unsigned char* end) const {
    const unsigned char lead = *in++;
    char16_t unit = single[lead];
    if (unit == LEAD_BYTE && in != end) {
        unit = pairs[pairIndex[lead]][*in];
        if (unit != NOT_A_PAIR)
            ++in;
    }
    return unit < UNASSIGNED ? unit : u'?';
}

void CodePageTable::decode(std::string_view bytes, std::u16string& target) const {
    const auto* in = reinterpret_cast<const unsigned char*>(bytes.data());
    const unsigned char* const end = in + bytes.size();
    char16_t chunk[CHUNK];
    while (in != end) {
        char16_t* out = chunk;
        char16_t* const outEnd = chunk + CHUNK;
        while (in != end && out != outEnd) {
            const std::size_t run = widenAscii(in, static_cast<std::size_t>(std::min(end - in, outEnd - out)), out);
            in += run;
            out += run;
            while (in != end && out != outEnd && *in >= 0x80)
                *out++ = decodeOne(in, end);
        }
        target.append(chunk, out);
    }
}

unsigned char* CodePageTable::encode(const char16_t*& in, const char16_t* end, unsigned char* out,
                                     unsigned char* outEnd) const {
    while (in != end && out < outEnd) {
        const std::size_t run = narrowAscii(in, static_cast<std::size_t>(std::min(end - in, outEnd - out)), out);
        in += run;
        out += run;
        for (; in != end && out < outEnd && *in >= 0x80; ++in) {
            const std::uint16_t bytes = encodeBlocks[encodeIndex[*in >> 8]][*in & 0xFF];
            if (bytes > 0xFF)
                *out++ = static_cast<unsigned char>(bytes >> 8);
            *out++ = static_cast<unsigned char>(bytes == 0 ? '?' : bytes);
        }
    }
    return out;
}

void CodePageTable::encode(std::u16string_view text, std::string& target) const {
    const char16_t* in = text.data();
    const char16_t* const end = in + text.size();
    unsigned char chunk[CHUNK];
    while (in != end) {
        const unsigned char* const out = encode(in, end, chunk, chunk + CHUNK - 1); // room for a second byte
        target.append(reinterpret_cast<const char*>(chunk), reinterpret_cast<const char*>(out));
    }
}

} // namespace norq_std_internal::platform
