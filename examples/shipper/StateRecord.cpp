#include "StateRecord.h"

#include "wire/Message.h"

#include <charconv>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace shipper {
namespace {

constexpr std::string_view HEX = "0123456789abcdef";
constexpr std::string_view PLAIN = "/._-:+@~^$!()[]{}*";

bool isPlain(char byte) {
    return (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           PLAIN.find(byte) != std::string_view::npos;
}

/// Bytes of any kind as a word of ASCII: a path need not be UTF-8.
std::string escape(const std::string& bytes) {
    std::string word;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        if (isPlain(byte))
            word += byte;
        else
            word.append({'%', HEX[value / 16], HEX[value % 16]});
    }
    return word;
}

std::string unescape(std::string_view word) {
    std::string bytes;
    for (std::size_t i = 0; i < word.size(); ++i) {
        if (word[i] != '%') {
            bytes += word[i];
            continue;
        }
        const std::size_t high = i + 2 < word.size() ? HEX.find(word[i + 1]) : std::string_view::npos;
        const std::size_t low = high != std::string_view::npos ? HEX.find(word[i + 2]) : std::string_view::npos;
        if (low == std::string_view::npos)
            throw std::invalid_argument("a broken escape");
        bytes += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return bytes;
}

/// "line=57 offset=1234", or with other signs between.
struct Signs {
    char betweenFields;
    char behindName;
};
constexpr Signs RECORD{' ', '='};
constexpr Signs PLACE{',', ':'};

class Writer {
public:
    explicit Writer(Signs itsSigns)
        : signs(itsSigns) {}
    Writer& add(std::string_view name, const std::string& word) {
        if (!text.empty())
            text += signs.betweenFields;
        text.append(name) += signs.behindName;
        text += word;
        return *this;
    }
    Writer& add(std::string_view name, std::uint64_t number) { return add(name, std::to_string(number)); }
    const std::string& toText() const { return text; }

private:
    const Signs signs;
    std::string text;
};

std::uint64_t toNumber(std::string_view word, std::string_view name) {
    std::uint64_t value = 0;
    const auto parsed = std::from_chars(word.data(), word.data() + word.size(), value);
    if (word.empty() || parsed.ec != std::errc() || parsed.ptr != word.data() + word.size())
        throw std::invalid_argument("no sound \"" + std::string(name) + "\"");
    return value;
}

class Fields {
public:
    Fields(std::string_view text, Signs signs) {
        while (!text.empty()) {
            const std::string_view field = text.substr(0, text.find(signs.betweenFields));
            const std::size_t end = field.find(signs.behindName);
            if (end == std::string_view::npos)
                throw std::invalid_argument("a field without a value");
            words.emplace(field.substr(0, end), field.substr(end + 1));
            text.remove_prefix(field.size() == text.size() ? field.size() : field.size() + 1);
        }
    }
    std::string word(std::string_view name) const {
        const auto found = words.find(name);
        if (found == words.end())
            throw std::invalid_argument("no \"" + std::string(name) + "\"");
        return found->second;
    }
    std::uint64_t number(std::string_view name) const { return toNumber(word(name), name); }
    std::uint64_t number(std::string_view name, std::uint64_t otherwise) const {
        return words.contains(name) ? number(name) : otherwise;
    }
    auto begin() const { return words.begin(); }
    auto end() const { return words.end(); }

private:
    std::map<std::string, std::string, std::less<>> words;
};

std::string describe(const SourcePlace& place) {
    Writer writer(PLACE);
    writer.add("line", place.line).add("offset", place.offset);
    writer.add("headBytes", place.headBytes).add("head", place.head);
    writer.add("tailBytes", place.tailBytes).add("tail", place.tail);
    if (place.part != 0)
        writer.add("part", place.part);
    if (place.left)
        writer.add("left", 1);
    return writer.toText();
}

SourcePlace parsePlace(std::string_view text) {
    const Fields fields(text, PLACE);
    SourcePlace place;
    place.line = fields.number("line");
    place.offset = fields.number("offset");
    place.headBytes = fields.number("headBytes");
    place.head = fields.number("head");
    place.tailBytes = fields.number("tailBytes");
    place.tail = fields.number("tail");
    place.part = static_cast<std::uint32_t>(fields.number("part", 0));
    place.left = fields.number("left", 0) != 0;
    return place;
}

} // namespace

std::string FileRecord::toText() const {
    Writer writer(RECORD);
    writer.add("batch", batch).add("place", describe(place)).add("device", place.device).add("inode", place.inode);
    return writer.add("path", escape(place.path)).toText();
}

FileRecord FileRecord::parse(const std::string& text) {
    const Fields fields(text, RECORD);
    FileRecord record{fields.number("batch"), parsePlace(fields.word("place"))};
    record.place.device = fields.number("device");
    record.place.inode = fields.number("inode");
    record.place.path = unescape(fields.word("path"));
    return record;
}

std::string CollectorRecord::toText() const {
    Writer writer(RECORD);
    writer.add("id", id).add("delivered", known.delivered).add("settled", known.settled);
    return writer.add("address", escape(known.address)).toText();
}

CollectorRecord CollectorRecord::parse(const std::string& text) {
    const Fields fields(text, RECORD);
    CollectorRecord record{fields.word("id"),
                           {unescape(fields.word("address")), fields.number("delivered"), fields.number("settled")}};
    if (!wire::isId(record.id))
        throw std::invalid_argument("no sound \"id\"");
    return record;
}

std::string BatchRecord::toText() const {
    Writer writer(RECORD);
    writer.add("batch", batch).add("events", events).add("collector", collector);
    for (const auto& [number, place] : places)
        writer.add(FileRecord::KEY + std::to_string(number), describe(place));
    return writer.toText();
}

BatchRecord BatchRecord::parse(const std::string& text) {
    const Fields fields(text, RECORD);
    BatchRecord record{fields.number("batch"), fields.number("events"), fields.number("collector"), {}};
    const std::string_view prefix = FileRecord::KEY;
    for (const auto& [name, word] : fields)
        if (name.starts_with(prefix))
            record.places[toNumber(std::string_view(name).substr(prefix.size()), name)] = parsePlace(word);
    return record;
}

} // namespace shipper
