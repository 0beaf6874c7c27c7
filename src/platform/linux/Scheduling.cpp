#include "platform/linux/Scheduling.h"

#include "platform/Error.h"
#include "platform/Process.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <iterator>
#include <set>

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace norq_std_internal::platform {

namespace {

/// The kernel's record, which the C library does not declare.
struct Attributes {
    std::uint32_t size = sizeof(Attributes);
    std::uint32_t policy = SCHED_OTHER;
    std::uint64_t flags = 0;
    std::int32_t nice = 0;
    std::uint32_t priority = 0;
    std::uint64_t deadlineTimes[3] = {};
};
static_assert(sizeof(Attributes) == 48);

constexpr std::uint64_t ResetOnFork = 1;

struct ClassRow {
    std::uint32_t number;
    std::uint32_t policy;
    std::int32_t nice;
    std::int32_t highestNice; ///< that reads as this class
};

constexpr ClassRow Classes[] = {
    {RealtimePriority, SCHED_RR, 0, -21},       {HighPriority, SCHED_OTHER, -10, -8},
    {AboveNormalPriority, SCHED_OTHER, -5, -1}, {NormalPriority, SCHED_OTHER, 0, 0},
    {BelowNormalPriority, SCHED_OTHER, 5, 14},  {IdlePriority, SCHED_IDLE, 0, 19},
};

bool readAttributes(std::uint32_t thread, Attributes& attributes) {
    return ::syscall(SYS_sched_getattr, thread, &attributes, sizeof attributes, 0) == 0;
}

bool applyTo(std::uint32_t thread, const ClassRow& row) {
    Attributes attributes;
    if (!readAttributes(thread, attributes))
        return false;
    attributes = {.policy = row.policy, .flags = attributes.flags & ResetOnFork};
    attributes.nice = row.nice;
    attributes.priority = row.policy == SCHED_RR ? 1 : 0;
    return ::syscall(SYS_sched_setattr, thread, &attributes, 0) == 0;
}

} // namespace

bool readPriorityClass(std::uint32_t process, std::uint32_t& number) {
    Attributes attributes;
    if (!readAttributes(process, attributes)) {
        setLastErrorFromNative();
        return false;
    }
    if (attributes.policy == SCHED_IDLE)
        number = IdlePriority;
    else if (attributes.policy != SCHED_OTHER && attributes.policy != SCHED_BATCH)
        number = RealtimePriority;
    else
        number = std::ranges::find_if(Classes, [&](const ClassRow& row) {
                     return attributes.nice <= row.highestNice;
                 })->number;
    return true;
}

bool changePriorityClass(std::uint32_t process, std::uint32_t number) {
    const ClassRow* const row = std::ranges::find(Classes, number, &ClassRow::number);
    if (row == std::end(Classes)) {
        setLastError(InvalidParameter);
        return false;
    }
    std::set<std::uint32_t> done;
    for (bool found = true; found;) { // a thread that is made meanwhile may come of one that was not reached yet
        found = false;
        std::vector<std::uint32_t> threads;
        if (!numberedEntries("/proc/" + std::to_string(process) + "/task", threads))
            return false;
        for (const std::uint32_t thread : threads) {
            if (!done.insert(thread).second)
                continue;
            found = true;
            if (!applyTo(thread, *row) && (errno != ESRCH || thread == process)) {
                setLastErrorFromNative();
                return false;
            }
        }
    }
    return true;
}

bool numberedEntries(const std::string& directory, std::vector<std::uint32_t>& numbers) {
    std::error_code error;
    std::filesystem::directory_iterator entry(directory, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        std::uint32_t number = 0;
        const auto [end, failure] = std::from_chars(name.data(), name.data() + name.size(), number);
        if (failure == std::errc() && end == name.data() + name.size())
            numbers.push_back(number);
    }
    if (error)
        setLastError(errorFromNative(error.value()));
    std::ranges::sort(numbers);
    return !error;
}

} // namespace norq_std_internal::platform
