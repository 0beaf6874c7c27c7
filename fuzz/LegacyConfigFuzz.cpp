// Any bytes as a section file of the older functions, with section, key and line taken from them: nothing overruns, the
// lists agree with the single entries, and what was put can be read, as far as the format can express it.
#include "config/LegacyConfig.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using namespace NorqStd;

void require(bool holds) {
    if (!holds)
        std::abort();
}

const std::string& file() {
    static const std::string path = [] {
        std::string folder = (std::filesystem::temp_directory_path() / "norqstd-fuzz-XXXXXX").string();
        require(mkdtemp(folder.data()) != nullptr);
        static const struct Cleaner {
            explicit Cleaner(std::string made)
                : folder(std::move(made)) {}
            ~Cleaner() { std::filesystem::remove_all(folder); }
            std::string folder;
        } cleaner(folder);
        return folder + "/a.ini";
    }();
    return path;
}

std::string cut(const std::uint8_t*& data, std::size_t& size) {
    const std::size_t length = size == 0 ? 0 : std::min<std::size_t>(*data % 16, size - 1);
    const std::string text = size == 0 ? "" : std::string(data + 1, data + 1 + length);
    const std::size_t used = size == 0 ? 0 : length + 1;
    data += used;
    size -= used;
    return text;
}

/// Whether it stays one line that is no head, and a key stays one.
bool isPlain(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c != '[' && c != ']' && c != '='; });
}

void readAll(const SWString& path, const SWString& section, const SWString& key) {
    std::vector<SWString> sections;
    std::vector<SWString> lines;
    require(GetConfigSectionList(sections, path) == static_cast<std::int32_t>(sections.size()));
    require(GetConfigStringList(lines, path, section) == static_cast<std::int32_t>(lines.size()));
    SWString name;
    SWString value;
    for (std::size_t i = 0; i < std::min<std::size_t>(lines.size(), 8); ++i)
        require(FetchConfigVals(name, path, section, value, static_cast<std::int32_t>(i)) == 1 &&
                lines[i].starts_with(name));
    require(FetchConfigVals(name, path, section, value, static_cast<std::int32_t>(lines.size())) == 0);
    char buffer[8];
    if (OpenConfigStringList(path, section) == 1)
        while (FetchConfigStringList(buffer, sizeof buffer) == 1)
            continue;
    GetConfigString(buffer, sizeof buffer, path.mb_str(), section.mb_str(), key.mb_str(), "a longer default");
    GetConfigInt(path, section, key, 5);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string section = cut(data, size);
    const std::string key = cut(data, size);
    const std::string line = cut(data, size);
    std::ofstream(file(), std::ios::binary).write(reinterpret_cast<const char*>(data), static_cast<long>(size));
    const SWString path(file().c_str());
    const SWString wideSection(section.data(), section.size());
    const SWString wideKey(key.data(), key.size());
    const SWString wideLine(line.data(), line.size());
    readAll(path, wideSection, wideKey);
    require(PutConfigString(path, wideSection, wideKey, wideLine) == 1);
    if (isPlain(section) && isPlain(key) && isPlain(line)) {
        SWString value;
        GetConfigString(value, path, wideSection, wideKey, "none");
        require(value == wideLine);
        require(DeleteConfigEntry(path, wideSection, wideKey) == 1);
        GetConfigString(value, path, wideSection, wideKey, "none");
        require(value == u"none");
    }
    require(PutConfigStringList(path, wideSection, wideLine) == 1);
    readAll(path, wideSection, wideKey);
    require(DeleteConfigLine(path, wideSection, wideLine) == 1);
    require(DelConfigSectionValues(path, wideSection) == 1);
    require(DelConfigSection(path, wideSection) == 1);
    return 0;
}
