#include "LineSplitter.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace shipper {
namespace {

constexpr std::size_t TAIL_BYTES = 128;
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

void LineSplitter::deliverRest() {
    if (!text.empty())
        deliver(std::exchange(text, {}));
}

void LineSplitter::finish() {
    deliverRest();
    line = 1;
    part = 0;
    head.clear();
    if (place)
        place->offset = place->headBytes = place->tailBytes = 0;
}

void LineSplitter::keepPlaces(const SourcePlace& begin, std::string firstBytes) {
    place = begin;
    head = std::move(firstBytes);
    line = begin.line;
    part = begin.part;
}

void LineSplitter::leave() {
    deliverRest();
    if (!place)
        return;
    place->left = true;
    const auto mark = std::make_shared<LineBatch>();
    mark->source = source;
    offer(mark);
}

void LineSplitter::offer(const std::shared_ptr<LineBatch>& batch) {
    if (place) {
        const std::string_view bytes = batch->text;
        if (head.size() < HEAD_BYTES && head.size() == place->offset) {
            head += bytes.substr(0, HEAD_BYTES - head.size());
            place->headBytes = head.size();
            place->head = hashOf(head);
        }
        if (!bytes.empty()) {
            const std::string_view tail = bytes.substr(bytes.size() - std::min(bytes.size(), TAIL_BYTES));
            place->tailBytes = tail.size();
            place->tail = hashOf(tail);
        }
        place->offset += bytes.size();
        place->line = line;
        place->part = part;
        batch->place = place;
    }
    queue.offer(batch, -1);
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
        offer(batch);
        if (!lines.empty())
            deliver(std::move(lines));
        return;
    }
    line += countLineFeeds(lines);
    batch->text = std::move(lines);
    offer(batch);
}

void LineSplitter::deliverPiece() {
    auto batch = std::make_shared<LineBatch>();
    batch->source = source;
    batch->firstLine = line;
    batch->part = ++part;
    const std::size_t cut = characterBoundary(text);
    batch->text = text.substr(0, cut);
    text.erase(0, cut);
    offer(batch);
}

} // namespace shipper
