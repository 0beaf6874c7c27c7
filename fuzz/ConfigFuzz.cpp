// Any bytes as a `.cfg` file in each character set: they are read, and what is written of them reads back as the same
// lines and is written as the same bytes.
#include "config/Configuration.h"
#include "config/ConfigurationVisitor.h"
#include "config/IniConfigurationSerializer.h"
#include "stream/ByteArray.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

using norq_std::ByteArray;
using norq_std::Configuration;
using norq_std::ConfigurationElement;
using norq_std::ConfigurationSection;
using norq_std::IniConfigurationSerializer;
using norq_std::WString;

void require(bool holds) {
    if (!holds)
        std::abort();
}

/// Every line, and each key looked up.
class Lines : public norq_std::ConfigurationVisitor {
public:
    explicit Lines(const Configuration& shown)
        : configuration(shown) {
        configuration.visit(*this);
    }

    void visitSection(const ConfigurationSection& visited) override {
        section = visited.getName();
        texts.push_back(u"[" + section);
        require(configuration.containsSection(section));
    }
    void visitElement(const ConfigurationElement& element) override {
        texts.insert(texts.end(), {element.getKey(), element.getValue(), element.getComment()});
        if (element.isKeyValue())
            require(configuration.getValue(element.getKey(), section) == element.getValue());
    }

    std::vector<WString> texts;

private:
    const Configuration& configuration;
    WString section;
};

/// The model's change operations keep the order of what is left.
void removeHalf(Configuration& configuration) {
    for (const WString& section : configuration.getSectionNames()) {
        std::list<WString> keys = configuration.getKeys(section);
        for (auto key = keys.begin(); key != keys.end();) {
            require(configuration.removeKeyValue(*key, section) && !configuration.containsKey(*key, section));
            key = keys.erase(key);
            if (key != keys.end())
                configuration.setValue(*key, *key + u" longer", section), ++key;
        }
        require(configuration.getKeys(section) == keys);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    for (const char16_t* charset : {u"windows-1252", u"UTF-8", u"ISO-10646-UCS-2"}) {
        IniConfigurationSerializer serializer(charset);
        const auto read = serializer.deserialize(ByteArray(std::string(data, data + size)));
        const auto written = serializer.serialize(*read);
        const auto again = serializer.deserialize(*written);
        require(Lines(*read).texts == Lines(*again).texts);
        require(*serializer.serialize(*again) == *written);
        removeHalf(*again);
    }
    return 0;
}
