// Files as they are: every .ini, .cfg and .conf with sections that the packages of this machine brought, and odd ones
// made up, are loaded and saved, and the result is held against a second reading of the rules, line by line on bytes.

#include "config/ConfigurationFile.h"
#include "config/IniConfigurationSerializer.h"
#include "stream/ByteArray.h"
#include "support/FileCalls.h"
#include "support/Limits.h"
#include "support/NothingLeft.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using norq_std::ByteArray;
using norq_std::ConfigurationFile;

constexpr const char* SPACE = " \t\n\v\f\r\xA0"; // of windows-1252

std::string trim(const std::string& text) {
    const std::size_t first = text.find_first_not_of(SPACE);
    return first == text.npos ? "" : text.substr(first, text.find_last_not_of(SPACE) - first + 1);
}

/// What a load and a save make of a file, worked out on its lines.
class Prediction {
public:
    explicit Prediction(std::string bytes) {
        bytes = bytes.substr(0, bytes.find('\0'));
        sections.push_back({"", {}});
        const std::size_t end = bytes.find_first_of("\r\n");
        if (end != bytes.npos)
            separator = bytes.compare(end, 2, "\r\n") == 0 ? "\r\n" : bytes.substr(end, 1);
        std::vector<std::string> lines(1);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            if (bytes[i] == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n')
                continue;
            if (bytes[i] == '\r' || bytes[i] == '\n')
                lines.emplace_back();
            else
                lines.back() += bytes[i];
        }
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const std::string line = trim(lines[i]);
            if (!line.empty() || i + 1 < lines.size())
                take(line);
        }
    }

    std::string text() const {
        std::string all;
        for (const Section& section : sections) {
            if (!section.name.empty())
                all += "[" + section.name + "]" + separator;
            for (const Element& element : section.elements)
                all += element.text() + separator;
        }
        return all;
    }

private:
    struct Element {
        std::optional<std::string> key;
        std::string rest;

        std::string text() const {
            if (!key)
                return rest.empty() ? "" : "#" + rest;
            std::string escaped;
            for (const char c : *key)
                escaped += std::string(c == '#' || c == '=' || c == '[' || c == '\\' ? "\\" : "") + c;
            return escaped + "=" + rest;
        }
    };
    struct Section {
        std::string name;
        std::vector<Element> elements;
    };

    void take(const std::string& line) {
        if (line.starts_with("[")) {
            if (line.find(']') != line.npos)
                goTo(trim(line.substr(1, line.rfind(']') - 1)));
            return;
        }
        std::vector<Element>& elements = sections[current].elements;
        if (line.starts_with("#")) {
            elements.push_back({std::nullopt, line.substr(1)});
            return;
        }
        std::string key;
        bool escaped = false;
        for (std::size_t i = 0; i < line.size(); ++i) {
            const char c = line[i];
            if (c == '=' && !escaped) {
                if (key.empty())
                    break;
                const auto same = std::find_if(elements.begin(), elements.end(),
                                               [&](const Element& e) { return e.key == trim(key); });
                if (same == elements.end())
                    elements.push_back({trim(key), line.substr(i + 1)});
                else
                    same->rest = line.substr(i + 1);
                return;
            }
            if (c != '\\' || escaped)
                key += c;
            escaped = escaped ? std::string("=\\#[").find(c) == std::string::npos : c == '\\';
        }
        elements.push_back({});
    }

    void goTo(const std::string& name) {
        for (current = 0; current < sections.size(); ++current)
            if (sections[current].name == name)
                return;
        sections.push_back({name, {}});
    }

    std::string separator = "\r\n";
    std::vector<Section> sections;
    std::size_t current = 0;
};

bool hasSections(const std::string& bytes) {
    for (std::size_t at = 0; at < bytes.size(); at = std::min(bytes.find('\n', at), bytes.size() - 1) + 1)
        if (bytes[at] == '[' && bytes.find(']', at) < bytes.find('\n', at))
            return true;
    return false;
}

std::string contentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

using RealFilesTest = norqstd_test::NothingLeft;

TEST_F(RealFilesTest, AreSavedAsTheRulesPredict) {
    std::size_t files = 0;
    std::size_t unchanged = 0;
    const fs::path copy = folder() / "copy.cfg";
    for (const char* root : {"/etc", "/usr", "/opt", "/var/lib"}) {
        std::error_code skipped;
        for (auto entry =
                 fs::recursive_directory_iterator(root, fs::directory_options::skip_permission_denied, skipped);
             entry != fs::recursive_directory_iterator(); entry.increment(skipped)) {
            const std::string extension = entry->path().extension();
            if ((extension != ".ini" && extension != ".cfg" && extension != ".conf") ||
                !entry->is_regular_file(skipped) || entry->is_symlink(skipped))
                continue;
            const std::string bytes = contentOf(entry->path());
            if (!hasSections(bytes))
                continue;
            norqstd_test::write(copy, bytes);
            ConfigurationFile config(norqstd_test::fileOf(copy), nullptr);
            config.load();
            config.save();
            const std::string saved = contentOf(copy);
            ASSERT_EQ(Prediction(bytes).text(), saved) << entry->path();
            ++files;
            unchanged += saved == bytes ? 1 : 0;
        }
    }
    std::cout << files << " files of this machine were loaded and saved, " << unchanged << " came back byte for byte\n";
    RecordProperty("files", static_cast<int>(files));
}

TEST_F(RealFilesTest, OddShapesAreSavedAsTheRulesPredict) {
    const char* const pieces[] = {"[",    "]",    "[a]",  "[b ]", "[]",        "#",           "=",
                                  "\\",   "\\#",  "\\=",  "\\\\", " ",         "\t",          "\n",
                                  "\r\n", "\r",   "\n\n", "key",  "key=",      "k=v ",        "\xE4",
                                  "\x85", "\xA0", "a b",  ";",    "\x80=\x81", "\n[a]\nkey=", "\n#c\n"};
    std::mt19937 random(6);
    norq_std::IniConfigurationSerializer serializer(u"windows-1252");
    for (std::size_t round = 0; round < norqstd_test::rounds(20'000); ++round) {
        std::string bytes;
        for (std::size_t i = random() % 40; i > 0; --i)
            bytes += pieces[random() % std::size(pieces)];
        if (round % 1000 == 0)
            bytes += "\n" + std::string(70'000, 'x') + "=1\nlast=" + std::string(70'000, 'y');
        const auto read = serializer.deserialize(ByteArray(bytes));
        ASSERT_EQ(Prediction(bytes).text(), serializer.serialize(*read)->toString()) << bytes;
    }
}

} // namespace
