#include "base/JsonNodePool.h"

#include <algorithm>
#include <new>

namespace norq_std::detail {

namespace {

constexpr std::size_t header = 16; // the link, and the alignment of what follows
constexpr std::size_t largestPiece = 128;

} // namespace

void JsonNodePool::grow(std::size_t size) {
    const std::size_t count = std::max<std::size_t>(nextCount, 1);
    auto* piece = static_cast<std::byte*>(::operator new(header + count * size));
    pieces = ::new (piece) Link{pieces};
    next = piece + header;
    last = next + count * size;
    nextCount = std::clamp<std::size_t>(count, 4, largestPiece / 2) * 2;
}

void JsonNodePool::release() noexcept {
    while (pieces != nullptr) {
        Link* const piece = pieces;
        pieces = piece->next;
        ::operator delete(piece);
    }
    unused = nullptr;
    next = last = nullptr;
}

} // namespace norq_std::detail
