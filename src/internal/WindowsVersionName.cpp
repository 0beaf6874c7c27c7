#include "internal/WindowsVersionName.h"

#include <optional>
#include <string_view>

namespace norq_std_internal {

using norq_std::WString;

namespace {

constexpr std::uint32_t Workstation = 1;
constexpr std::uint32_t Personal = 0x200;
constexpr std::uint32_t Enterprise = 2;

/// One system; what is not given is any.
struct Row {
    std::uint32_t platformId;
    std::optional<std::uint32_t> major;
    std::optional<std::uint32_t> minor;
    std::optional<bool> workstation;
    std::u16string_view name;
};

// The first row that fits counts.
constexpr Row Table[] = {
    {1, {}, 0, {}, u"95 "},
    {1, {}, 10, {}, u"98 "},
    {1, {}, 90, {}, u"Millenium "},
    {2, 4, {}, {}, u"NT "},
    {2, 5, 0, {}, u"2000 "},
    {2, 5, 1, {}, u"XP "},
    {2, 5, 2, {}, u"Server 2003 "},
    {2, 6, 0, true, u"Vista "},
    {2, 6, 1, true, u"7 "},
    {2, 6, 2, true, u"8 "},
    {2, 6, {}, true, u"Unknown Version"},
    {2, 6, 0, false, u"Server 2008"},
    {2, 6, 1, false, u"Server 2008 R2"},
    {2, 6, 2, false, u"Server 2012"},
    {2, 6, {}, false, u"Server Unknown Version"},
};

WString edition(std::uint32_t suiteMask) {
    if ((suiteMask & Personal) != 0)
        return u"(Home) ";
    return (suiteMask & Enterprise) != 0 ? u"(Enterprise) " : u"(Business/Professional/Ultimate) ";
}

} // namespace

WString windowsVersionName(const WindowsVersion& version) {
    WString text = u"Windows ";
    const bool workstation = version.productType == Workstation;
    for (const Row& row : Table) {
        if (row.platformId != version.platformId || row.major.value_or(version.major) != version.major ||
            row.minor.value_or(version.minor) != version.minor || row.workstation.value_or(workstation) != workstation)
            continue;
        text += row.name;
        if (row.workstation.value_or(false))
            text += edition(version.suiteMask);
        return text + version.servicePack;
    }
    return text;
}

} // namespace norq_std_internal
