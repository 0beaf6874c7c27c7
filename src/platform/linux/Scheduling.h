#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace norq_std_internal::platform {

// Classes are the kernel's scheduling policies and nice values; docs/processes.md has the table. Each leaves the last
// error where it answers false.

bool readPriorityClass(std::uint32_t process, std::uint32_t& number);

/// Of all threads: the kernel knows none of a process.
bool changePriorityClass(std::uint32_t process, std::uint32_t number);

/// The names of a directory that are numbers, ascending.
bool numberedEntries(const std::string& directory, std::vector<std::uint32_t>& numbers);

} // namespace norq_std_internal::platform
