#include "KeyPath.h"

#include "Failure.h"

#include "base/WideChar.h"

#include <algorithm>
#include <array>
#include <utility>

namespace norqreg {
namespace {

constexpr std::array<std::pair<const WChar*, Hive>, 4> HIVES{{{u"HKCU", Hive::CURRENT_USER},
                                                              {u"HKLM", Hive::LOCAL_MACHINE},
                                                              {u"HKEY_CURRENT_USER", Hive::CURRENT_USER},
                                                              {u"HKEY_LOCAL_MACHINE", Hive::LOCAL_MACHINE}}};

} // namespace

KeyPath KeyPath::parse(const WString& text) {
    WString path = text;
    std::replace(path.begin(), path.end(), u'/', u'\\');
    const auto fail = [&](const std::string& why) {
        throw Failure(WRONG_USAGE, "'" + narrow(text) + "' is not a key: " + why);
    };
    const std::size_t end = std::min(path.find(u'\\'), path.size());
    const WString root = path.substr(0, end);
    const auto* const found =
        std::find_if(HIVES.begin(), HIVES.end(), [&](const auto& each) { return isSameName(root, each.first); });
    if (found == HIVES.end())
        fail("it must begin with HKCU or HKLM");
    path.erase(0, end + 1);
    if (path.starts_with(u'\\') || path.find(u"\\\\") != WString::npos)
        fail("a name is empty");
    if (path.ends_with(u'\\'))
        path.pop_back();
    return {found->second, path};
}

WString KeyPath::leaf() const { return isHive() ? nameOf(hive) : path.substr(path.rfind(u'\\') + 1); }

WString KeyPath::toText() const { return isHive() ? nameOf(hive) : nameOf(hive) + u"\\" + path; }

WString nameOf(Hive hive) { return hive == Hive::CURRENT_USER ? u"HKCU" : u"HKLM"; }

bool isSameName(const WString& a, const WString& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](WChar x, WChar y) {
        return norq_std::WideChar::toUpper(x) == norq_std::WideChar::toUpper(y);
    });
}

} // namespace norqreg
