#include "platform/linux/StackReserve.h"

#include <algorithm>
#include <sys/mman.h>
#include <unistd.h>

namespace norq_std_internal::platform {
namespace {

constexpr std::size_t LargestReserve = 64 * 1024;
constexpr std::size_t SmallestReserve = 16 * 1024;
constexpr std::size_t ShareOfStack = 16;
/// A main thread's stack without a limit has no end to keep a reserve at.
constexpr std::size_t LargestStack = std::size_t{1} << 30;

bool isMainThread() { return ::getpid() == ::gettid(); }

} // namespace

void StackReserve::arrange(StackBounds& bounds) {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const std::size_t stackSize = bounds.high - bounds.low;
    const std::size_t wanted = std::min(LargestReserve, stackSize / ShareOfStack) / page * page;
    if (wanted < SmallestReserve || stackSize > LargestStack)
        return;
    const std::uintptr_t low = (bounds.low + page - 1) / page * page;
    void* const lowest = reinterpret_cast<void*>(low); // NOLINT(performance-no-int-to-ptr): the end of a stack
    if (isMainThread()) {
        // The kernel has not grown the stack this far: a closed mapping stands in its way there.
        ownMapping = ::mmap(lowest, wanted, PROT_NONE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED_NOREPLACE, -1, 0) == lowest;
        if (!ownMapping)
            return;
    } else if (::mprotect(lowest, wanted, PROT_NONE) != 0) {
        return;
    }
    start = lowest;
    closedSize = size = wanted;
    bounds.low = low + wanted;
}

bool StackReserve::open() {
    if (closedSize == 0 || ::mprotect(start, closedSize, PROT_READ | PROT_WRITE) != 0)
        return false;
    closedSize = 0;
    return true;
}

void StackReserve::close() {
    if (closedSize == size)
        return;
    // What closes it has its own frames to leave, and an exception to destroy.
    constexpr std::uintptr_t LeftToThisFrame = 3 * 1024;
    const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    const auto low = reinterpret_cast<std::uintptr_t>(start);
    const std::uintptr_t end =
        (reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) - LeftToThisFrame) / page * page;
    if (end <= low + closedSize)
        return;
    const std::size_t wanted = std::min(static_cast<std::size_t>(end - low), size);
    if (::mprotect(start, wanted, PROT_NONE) == 0)
        closedSize = wanted;
}

void StackReserve::release(StackBounds& bounds) {
    if (start == nullptr)
        return;
    if (!ownMapping)
        ::mprotect(start, size, PROT_READ | PROT_WRITE);
    else if (::munmap(start, size) == 0)
        ownMapping = false;
    bounds.low -= size;
    start = nullptr;
    closedSize = size = 0;
}

} // namespace norq_std_internal::platform
