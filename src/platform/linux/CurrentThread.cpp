#include "platform/CurrentThread.h"

#include "platform/NarrowText.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <string>

#include <pthread.h>
#include <unistd.h>

namespace norq_std_internal::platform {

namespace {

constexpr std::size_t MaxNameBytes = 15;

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

} // namespace

std::uint64_t currentThreadNumber() noexcept { return static_cast<std::uint64_t>(gettid()); }

void nameCurrentThread(std::u16string_view name) noexcept {
    try {
        // A unit takes a byte at least, so that what stands further behind is cut in any case.
        std::string bytes = toUtf8(name.substr(0, std::min(name.find(u'\0'), MaxNameBytes + 1)));
        if (bytes.size() > MaxNameBytes) {
            std::size_t end = MaxNameBytes;
            while (end > 0 && isContinuation(bytes[end]))
                --end;
            bytes.resize(end);
        }
        pthread_setname_np(pthread_self(), bytes.c_str());
    } catch (const std::bad_alloc&) {
        return; // the thread runs without a name
    }
}

} // namespace norq_std_internal::platform
