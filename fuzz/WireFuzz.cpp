// Any stream of bytes, cut anywhere: it is refused as a fault of the protocol, or taken apart. A message that was read
// is written, and reads back to the same message.
#include "wire/Message.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void require(bool holds) {
    if (!holds)
        std::abort();
}

void check(const std::string& payload) {
    const wire::Message message = wire::decode(payload);
    const std::string frame = wire::encode(message);
    const wire::Message again = wire::decode(frame.substr(wire::HEADER_BYTES));
    require(again.type == message.type && again.id == message.id && again.sequence == message.sequence &&
            again.confirmed == message.confirmed && again.events == message.events);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    try {
        check(bytes);
    } catch (const wire::ProtocolError&) {
    }
    const std::size_t piece = size == 0 ? 1 : data[0] + std::size_t(1);
    wire::FrameDecoder decoder;
    try {
        for (std::size_t at = 0; at < size; at += piece) {
            decoder.add(bytes.data() + at, std::min(piece, size - at));
            while (const auto payload = decoder.next())
                check(*payload);
        }
    } catch (const wire::ProtocolError&) {
    }
    return 0;
}
