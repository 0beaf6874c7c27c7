#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace shipper {

/// How far a file was read: what comes next begins here.
struct SourcePlace {
    std::string path;         ///< under which the file is followed
    std::uint64_t device = 0; ///< with the inode, which file it is, whatever its name is by now
    std::uint64_t inode = 0;
    std::uint64_t offset = 0;    ///< bytes read
    std::uint64_t line = 1;      ///< number of the next line
    std::uint32_t part = 0;      ///< pieces of that line that were read, where it is a very long one
    std::uint64_t headBytes = 0; ///< how many bytes at its beginning have the next hash
    std::uint64_t head = 0;
    std::uint64_t tailBytes = 0; ///< how many bytes in front of the offset have the next hash
    std::uint64_t tail = 0;
    bool left = false; ///< nothing more will be read from it; it is known so that it is not taken for a new file

    bool isFile(std::uint64_t otherDevice, std::uint64_t otherInode) const {
        return device == otherDevice && inode == otherInode;
    }
};

/// A hash of 64 bits, the same on every machine (FNV-1a).
constexpr std::uint64_t hashOf(std::string_view bytes) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char byte : bytes)
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
    return hash;
}

} // namespace shipper
