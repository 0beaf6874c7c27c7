#include "config/ConfigurationSection.h"

#include "config/ConfigurationVisitor.h"
#include "internal/Trim.h"

namespace norq_std {

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
    for (const ConfigurationElement& element : elements)
        if (element.isKeyValue())
            keys.emplace_back(element.keyView());
    return keys;
}

std::list<WString> ConfigurationSection::getValues() const {
    std::list<WString> values;
    for (const ConfigurationElement& element : elements)
        if (element.isKeyValue())
            values.emplace_back(element.valueView());
    return values;
}

WString ConfigurationSection::getValue(const WString& key) const {
    const ConfigurationElement* const element = find(trimmed(key));
    return element == nullptr ? WString() : element->getValue();
}

bool ConfigurationSection::contains(const WString& key) const { return find(trimmed(key)) != nullptr; }

void ConfigurationSection::setValue(const WString& key, const WString& value) {
    const std::u16string_view trimmedKey = trimmed(key);
    if (trimmedKey.empty())
        elements.addNamed(key, value); // refuses it
    put(trimmedKey, trimmedRight(value));
}

void ConfigurationSection::put(std::u16string_view trimmedKey, std::u16string_view trimmedValue) {
    if (ConfigurationElement* const element = elements.find(trimmedKey))
        element->value = trimmedValue;
    else
        elements.addNamed(ConfigurationElement::Trimmed(), trimmedKey, trimmedValue);
}

bool ConfigurationSection::removeKeyValue(const WString& key) { return elements.remove(trimmed(key)); }

void ConfigurationSection::appendElement(const ConfigurationElement& element) {
    if (element.isKeyValue())
        put(element.keyView(), element.valueView());
    else
        elements.addUnnamed(element);
}

void ConfigurationSection::appendElements(const ConfigurationSection& section) {
    // The count is taken first: appended to itself, a section would grow as it is walked.
    auto element = section.elements.begin();
    for (std::size_t left = section.elements.size(); left > 0; --left)
        appendElement(*element++);
}

void ConfigurationSection::visit(ConfigurationVisitor& visitor) const {
    for (const ConfigurationElement& element : elements)
        visitor.visitElement(element);
}

} // namespace norq_std
