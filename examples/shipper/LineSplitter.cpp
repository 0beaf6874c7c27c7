#include "LineSplitter.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace shipper {
namespace {

constexpr std::size_t MAX_LINE_BYTES = 1024 * 1024; // a longer line travels in pieces

bool isContinuationByte(char byte) { return (byte & 0xC0) == 0x80; }

/// Where to cut so that no UTF-8 character is torn, if this is UTF-8.
std::size_t characterBoundary(const std::string& text) {
    std::size_t cut = text.size();
    for (int i = 0; i < 3 && cut > 0 && isContinuationByte(text[cut - 1]); ++i)
        --cut;
    return cut > 0 && (text[cut - 1] & 0xC0) == 0xC0 ? cut - 1 : text.size();
}

/// Eight bytes at a time.
std::uint64_t countLineFeeds(std::string_view text) {
    constexpr std::uint64_t ONES = 0x0101010101010101, LOW_BITS = 0x7F * ONES;
    std::uint64_t count = 0;
    for (std::uint64_t eight = 0; text.size() >= sizeof eight; text.remove_prefix(sizeof eight)) {
        std::memcpy(&eight, text.data(), sizeof eight);
        eight ^= '\n' * ONES;
        const std::uint64_t zeros = ~(((eight & LOW_BITS) + LOW_BITS) | eight | LOW_BITS); // the high bit of each
        count += ((zeros >> 7) * ONES) >> 56;
    }
    return count + static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
}

} // namespace

LineSplitter::LineSplitter(std::shared_ptr<const norq_std::WString> fileName, BatchQueue& batches)
    : source(std::move(fileName))
    , queue(batches) {}

void LineSplitter::finish() {
    if (!text.empty())
        deliver(std::exchange(text, {}));
    line = 1;
    part = 0;
}

void LineSplitter::deliverWholeLines() {
    const std::size_t lastLineFeed = text.rfind('\n');
    if (lastLineFeed != std::string::npos) {
        std::string rest = text.substr(lastLineFeed + 1);
        text.resize(lastLineFeed + 1);
        deliver(std::exchange(text, std::move(rest)));
    } else if (text.size() >= MAX_LINE_BYTES) {
        deliverPiece();
    }
}

void LineSplitter::deliver(std::string lines) {
    auto batch = std::make_shared<LineBatch>();
    batch->source = source;
    batch->firstLine = line;
    if (part > 0) { // the end of a long line goes alone, for its number
        const std::size_t end = std::min(lines.find('\n'), lines.size() - 1) + 1;
        batch->part = std::exchange(part, 0) + 1;
        batch->text = lines.substr(0, end);
        lines.erase(0, end);
        ++line;
        queue.offer(batch, -1);
        if (!lines.empty())
            deliver(std::move(lines));
        return;
    }
    line += countLineFeeds(lines);
    batch->text = std::move(lines);
    queue.offer(batch, -1);
}

void LineSplitter::deliverPiece() {
    auto batch = std::make_shared<LineBatch>();
    batch->source = source;
    batch->firstLine = line;
    batch->part = ++part;
    const std::size_t cut = characterBoundary(text);
    batch->text = text.substr(0, cut);
    text.erase(0, cut);
    queue.offer(batch, -1);
}

} // namespace shipper
