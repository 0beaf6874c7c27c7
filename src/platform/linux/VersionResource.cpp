#include "platform/VersionResource.h"

#include "platform/FileSystem.h"

#include <elf.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace norq_std_internal::platform {

namespace {

// The note that the CMake function norqstd_version_info writes.
constexpr std::string_view OWNER{"NorqStd\0", 8};
constexpr std::uint32_t VERSION_NOTE = 1;

constexpr std::size_t MAX_HEADERS = 4096;
constexpr std::uint64_t MAX_NOTES = 1024 * 1024;

template <class T>
bool readRecord(const ReadAt& readAt, std::uint64_t offset, T& record) {
    static_assert(std::is_trivially_copyable_v<T>);
    return readAt(offset, std::as_writable_bytes(std::span(&record, 1)));
}

/// Numbers of a file in the byte order of the file.
class ByteOrder {
public:
    explicit ByteOrder(unsigned char encoding)
        : swap(encoding != (std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB)) {}

    std::uint16_t operator()(std::uint16_t value) const { return swap ? __builtin_bswap16(value) : value; }
    std::uint32_t operator()(std::uint32_t value) const { return swap ? __builtin_bswap32(value) : value; }
    std::uint64_t operator()(std::uint64_t value) const { return swap ? __builtin_bswap64(value) : value; }

private:
    bool swap;
};

constexpr std::uint64_t roundedUp(std::uint64_t value, std::uint64_t alignment) {
    return (value + alignment - 1) / alignment * alignment;
}

/// Walks the notes of one segment: a header of three numbers, the owner, the content, each padded to the alignment.
std::optional<std::string> findInNotes(const ReadAt& readAt, std::uint64_t offset, std::uint64_t size,
                                       std::uint64_t alignment, const ByteOrder& order) {
    const std::uint64_t end = std::min(size, MAX_NOTES);
    for (std::uint64_t at = 0; at + sizeof(Elf32_Nhdr) <= end;) {
        Elf32_Nhdr header;
        if (!readRecord(readAt, offset + at, header))
            return std::nullopt;
        const std::uint64_t ownerSize = order(header.n_namesz);
        const std::uint64_t contentSize = order(header.n_descsz);
        const std::uint64_t owner = at + sizeof header;
        const std::uint64_t content = roundedUp(owner + ownerSize, alignment);
        const std::uint64_t next = roundedUp(content + contentSize, alignment);
        if (content + contentSize > end)
            return std::nullopt;
        std::array<char, OWNER.size()> name;
        if (order(header.n_type) == VERSION_NOTE && ownerSize == OWNER.size() && contentSize <= maxVersionResource &&
            readRecord(readAt, offset + owner, name) && std::string_view(name.data(), name.size()) == OWNER) {
            std::string text(contentSize, '\0');
            if (!readAt(offset + content, std::as_writable_bytes(std::span(text))))
                return std::nullopt;
            return text;
        }
        at = next;
    }
    return std::nullopt;
}

template <class Header, class Segment>
std::optional<std::string> findInImage(const ReadAt& readAt, const ByteOrder& order) {
    Header header;
    if (!readRecord(readAt, 0, header) || order(header.e_phentsize) != sizeof(Segment))
        return std::nullopt;
    const std::uint64_t segments = order(header.e_phoff);
    const std::size_t count = std::min<std::size_t>(order(header.e_phnum), MAX_HEADERS);
    for (std::size_t i = 0; i < count; ++i) {
        Segment segment;
        if (!readRecord(readAt, segments + i * sizeof segment, segment))
            return std::nullopt;
        if (order(segment.p_type) != PT_NOTE)
            continue;
        const std::uint64_t alignment = order(segment.p_align) == 8 ? 8 : 4;
        if (auto found = findInNotes(readAt, order(segment.p_offset), order(segment.p_filesz), alignment, order))
            return found;
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> findVersionResource(const ReadAt& readAt) {
    std::array<unsigned char, EI_NIDENT> identity;
    if (!readRecord(readAt, 0, identity) || std::memcmp(identity.data(), ELFMAG, SELFMAG) != 0)
        return std::nullopt;
    if (identity[EI_DATA] != ELFDATA2LSB && identity[EI_DATA] != ELFDATA2MSB)
        return std::nullopt;
    const ByteOrder order(identity[EI_DATA]);
    if (identity[EI_CLASS] == ELFCLASS64)
        return findInImage<Elf64_Ehdr, Elf64_Phdr>(readAt, order);
    if (identity[EI_CLASS] == ELFCLASS32)
        return findInImage<Elf32_Ehdr, Elf32_Phdr>(readAt, order);
    return std::nullopt;
}

std::optional<std::string> readVersionResource(const norq_std::WString& path) {
    // Without O_NONBLOCK a named pipe would wait for its writer.
    const int file = open(nativePath(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0)
        return std::nullopt;
    std::optional<std::string> found = findVersionResource([file](std::uint64_t offset, std::span<std::byte> bytes) {
        return offset <= static_cast<std::uint64_t>(INT64_MAX) &&
               pread(file, bytes.data(), bytes.size(), static_cast<off_t>(offset)) ==
                   static_cast<ssize_t>(bytes.size());
    });
    close(file);
    return found;
}

} // namespace norq_std_internal::platform
