#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace wire {

/// What the other side sent cannot be: the connection ends.
class ProtocolError : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

constexpr std::size_t HEADER_BYTES = 4;
/// A batch of the longest piece of a line, every byte of it escaped, has room.
constexpr std::size_t MAX_FRAME_BYTES = 8 * 1024 * 1024;

/// A frame: the length of the payload in four bytes, the most significant first, and the payload.
/// Throws `ProtocolError` if the payload is empty or too long.
std::string makeFrame(std::string_view payload);

/// Cuts a stream of bytes into payloads. It holds no more than it was given, whatever length a frame announces. For one
/// thread.
class FrameDecoder {
public:
    void add(const char* bytes, std::size_t count) { buffer.append(bytes, count); }
    /// The next payload that is whole. Throws `ProtocolError` for a length that cannot be, and again at each call.
    std::optional<std::string> next();

private:
    std::string buffer;
    std::size_t begin = 0; ///< of what was not given out yet
};

} // namespace wire
