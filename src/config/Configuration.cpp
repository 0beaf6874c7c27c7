#include "config/Configuration.h"

#include "base/ErrorUtils.h"
#include "concurrency/AutoLock.h"
#include "config/ConfigurationVisitor.h"
#include "exception/NorqException.h"
#include "internal/Trim.h"

namespace norq_std {

using norq_std_internal::trimmed;
using norq_std_internal::trimmedRight;

// Never destroyed: threads may look settings up while the process ends.
const WString& Configuration::defaultSection = *new WString();

Configuration::Configuration() { sections.add(); }

Configuration::~Configuration() = default;

WString Configuration::toString() const { return u"Configuration{}"; }

WString Configuration::getValue(const WString& key, const WString& section) const {
    const AutoLock<Lock> guard(lock);
    const ConfigurationSection* const found = find(trimmed(section));
    return found == nullptr ? WString() : found->getValue(key);
}

std::list<WString> Configuration::getSectionNames() const {
    const AutoLock<Lock> guard(lock);
    std::list<WString> names;
    for (const ConfigurationSection& section : sections)
        names.emplace_back(section.nameView());
    return names;
}

void Configuration::setValue(const WString& key, const WString& value, const WString& section) {
    const AutoLock<Lock> guard(lock);
    const std::u16string_view name = trimmed(key);
    if (name.empty())
        ErrorUtils::isEmptyEx(WString(), u"norq_std::Configuration::setValue", u"key");
    findOrAdd(trimmed(section)).elements.put(name, trimmedRight(value));
}

bool Configuration::containsKey(const WString& key, const WString& section) const {
    const AutoLock<Lock> guard(lock);
    const ConfigurationSection* const found = find(trimmed(section));
    return found != nullptr && found->contains(key);
}

bool Configuration::containsSection(const WString& section) const {
    const AutoLock<Lock> guard(lock);
    return find(trimmed(section)) != nullptr;
}

bool Configuration::removeKeyValue(const WString& key, const WString& section) {
    const AutoLock<Lock> guard(lock);
    ConfigurationSection* const found = find(trimmed(section));
    return found != nullptr && found->removeKeyValue(key);
}

void Configuration::addSection(const ConfigurationSection& section) {
    const AutoLock<Lock> guard(lock);
    if (ConfigurationSection* const present = find(section.nameView()))
        present->appendElements(section);
    else
        sections.add(section);
}

bool Configuration::removeSection(const WString& section) {
    const AutoLock<Lock> guard(lock);
    const std::u16string_view name = trimmed(section);
    if (!name.empty())
        return sections.remove(name);
    find(name)->clear();
    return true;
}

void Configuration::clear() {
    const AutoLock<Lock> guard(lock);
    SectionList empty;
    empty.add();
    sections.swap(empty);
}

std::list<WString> Configuration::getKeys(const WString& section) const {
    const AutoLock<Lock> guard(lock);
    const ConfigurationSection* const found = find(trimmed(section));
    return found == nullptr ? std::list<WString>() : found->getKeys();
}

std::list<WString> Configuration::getValues(const WString& section) const {
    const AutoLock<Lock> guard(lock);
    const ConfigurationSection* const found = find(trimmed(section));
    return found == nullptr ? std::list<WString>() : found->getValues();
}

void Configuration::appendElement(const ConfigurationElement& element, const WString& section) {
    const AutoLock<Lock> guard(lock);
    findOrAdd(trimmed(section)).appendElement(element);
}

void Configuration::visit(ConfigurationVisitor& visitor) const {
    const AutoLock<Lock> guard(lock);
    for (const ConfigurationSection& section : sections) {
        visitor.visitSection(section);
        section.visit(visitor);
    }
}

std::list<ConfigurationSection> Configuration::copySections() const {
    const AutoLock<Lock> guard(lock);
    return {sections.begin(), sections.end()};
}

const ConfigurationSection& Configuration::getSection(const WString& section) const {
    const AutoLock<Lock> guard(lock);
    const std::u16string_view name = trimmed(section);
    const ConfigurationSection* const found = find(name);
    if (found == nullptr)
        throw NorqIllegalArgumentException(u"Unable to find section named " + WString(name));
    return *found;
}

ConfigurationSection& Configuration::getSection(const WString& section) {
    const AutoLock<Lock> guard(lock);
    return findOrAdd(trimmed(section));
}

ConfigurationSection* Configuration::find(std::u16string_view trimmedName) { return sections.find(trimmedName); }

const ConfigurationSection* Configuration::find(std::u16string_view trimmedName) const {
    return sections.find(trimmedName);
}

ConfigurationSection& Configuration::findOrAdd(std::u16string_view trimmedName) {
    ConfigurationSection* const present = sections.find(trimmedName);
    return present != nullptr ? *present : sections.add(WString(trimmedName));
}

std::size_t Configuration::estimateSize() const {
    const AutoLock<Lock> guard(lock);
    std::size_t units = 0;
    for (const ConfigurationSection& section : sections)
        units += section.name.size() + 4 + section.elements.estimateSize();
    return units;
}

void Configuration::exchangeSections(Configuration& other) {
    SectionList moving;
    moving.add(); // nobody is ever seen without a default section
    {
        const AutoLock<Lock> guard(other.lock);
        other.sections.swap(moving);
    }
    const AutoLock<Lock> guard(lock);
    sections.swap(moving);
}

} // namespace norq_std
