#include "config/ConfigurationSection.h"

#include "config/ConfigurationVisitor.h"
#include "internal/Trim.h"

namespace norq_std {

using norq_std_internal::LineList;
using norq_std_internal::trimmed;
using norq_std_internal::trimmedRight;

ConfigurationSection::ConfigurationSection() = default;

ConfigurationSection::ConfigurationSection(const WString& sectionName)
    : name(trimmed(sectionName)) {}

ConfigurationSection::~ConfigurationSection() = default;

WString ConfigurationSection::toString() const { return u"ConfigurationSection{name='" + name + u"'}"; }

void ConfigurationSection::clear() { elements.clear(); }

std::list<WString> ConfigurationSection::getKeys() const {
    std::list<WString> keys;
    elements.forEach([&keys](const LineList::Line& line) {
        if (!line.key.empty())
            keys.push_back(line.key.toString());
    });
    return keys;
}

std::list<WString> ConfigurationSection::getValues() const {
    std::list<WString> values;
    elements.forEach([&values](const LineList::Line& line) {
        if (!line.key.empty())
            values.push_back(line.text.toString());
    });
    return values;
}

WString ConfigurationSection::getValue(const WString& key) const {
    const auto value = elements.value(trimmed(key));
    return value ? value->toString() : WString();
}

bool ConfigurationSection::contains(const WString& key) const { return elements.contains(trimmed(key)); }

void ConfigurationSection::setValue(const WString& key, const WString& value) {
    if (trimmed(key).empty())
        ConfigurationElement(key, value); // refuses it
    elements.put(trimmed(key), trimmedRight(value));
}

bool ConfigurationSection::removeKeyValue(const WString& key) { return elements.remove(trimmed(key)); }

void ConfigurationSection::appendElement(const ConfigurationElement& element) {
    if (element.isKeyValue())
        elements.put(element.key, element.value);
    else
        elements.addComment(element.comment);
}

void ConfigurationSection::appendElements(const ConfigurationSection& section) {
    if (&section == this) {
        appendElements(ConfigurationSection(section));
        return;
    }
    section.elements.forEach([this](const LineList::Line& line) {
        if (line.key.empty())
            elements.addComment(line.text.toString());
        else
            elements.put(line.key.toString(), line.text.toString());
    });
}

void ConfigurationSection::visit(ConfigurationVisitor& visitor) const {
    ConfigurationElement element; // one for all, for the space of its texts
    elements.forEach([&](const LineList::Line& line) {
        line.key.copyTo(element.key);
        line.text.copyTo(line.key.empty() ? element.comment : element.value);
        (line.key.empty() ? element.value : element.comment).clear();
        visitor.visitElement(element);
    });
}

} // namespace norq_std
