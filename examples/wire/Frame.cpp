#include "wire/Frame.h"

namespace wire {
namespace {

void checkLength(std::size_t length) {
    if (length == 0 || length > MAX_FRAME_BYTES)
        throw ProtocolError("a frame of " + std::to_string(length) + " bytes");
}

} // namespace

std::string makeFrame(std::string_view payload) {
    checkLength(payload.size());
    std::string frame;
    frame.reserve(HEADER_BYTES + payload.size());
    for (int shift = 24; shift >= 0; shift -= 8)
        frame += static_cast<char>(payload.size() >> shift);
    frame += payload;
    return frame;
}

std::optional<std::string> FrameDecoder::next() {
    if (buffer.size() - begin < HEADER_BYTES)
        return std::nullopt;
    std::size_t length = 0;
    for (std::size_t i = 0; i < HEADER_BYTES; ++i)
        length = length << 8 | static_cast<unsigned char>(buffer[begin + i]);
    checkLength(length);
    if (buffer.size() - begin - HEADER_BYTES < length)
        return std::nullopt;
    std::string payload = buffer.substr(begin + HEADER_BYTES, length);
    begin += HEADER_BYTES + length;
    if (begin == buffer.size() || begin > MAX_FRAME_BYTES) { // what was given out is dropped now and then
        buffer.erase(0, begin);
        begin = 0;
    }
    return payload;
}

} // namespace wire
