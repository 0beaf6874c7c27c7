// The reader of version resources on any file image: a result lies within the image and its bounds.
#include "platform/VersionResource.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

using norq_std_internal::platform::findVersionResource;
using norq_std_internal::platform::maxVersionResource;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto found = findVersionResource([=](std::uint64_t offset, std::span<std::byte> bytes) {
        if (offset > size || bytes.size() > size - offset)
            return false;
        std::memcpy(bytes.data(), data + offset, bytes.size());
        return true;
    });
    if (!found)
        return 0;
    const std::string_view image(reinterpret_cast<const char*>(data), size);
    if (found->size() > maxVersionResource || image.find(*found) == std::string_view::npos)
        std::abort();
    return 0;
}
