#pragma once

#include "base/Object.h"
#include "config/ConfigurationElement.h"
#include "internal/LineList.h"

#include <cstddef>
#include <list>
#include <string_view>

namespace norq_std_internal {
class IniReader;
}

namespace norq_std {

class ConfigurationVisitor;

/// A named part of a configuration: its lines in order, each key at most once.
///
/// Keys are compared exactly, after white space at both ends is removed. Finding, setting and removing a key take the
/// same time however many there are. Copies are deep. No lock: a section belongs to one thread, or to the
/// `Configuration` that holds it.
class NORQSTD_EXPORT ConfigurationSection : public Object {
public:
    /// The default section, whose name is empty.
    ConfigurationSection();
    /// The name is trimmed on both sides.
    explicit ConfigurationSection(const WString& name);
    ConfigurationSection(const ConfigurationSection& other) = default;
    ConfigurationSection(ConfigurationSection&& other) noexcept = default;
    ConfigurationSection& operator=(const ConfigurationSection& other) = default;
    ConfigurationSection& operator=(ConfigurationSection&& other) noexcept = default;
    ~ConfigurationSection() override;

    WString toString() const override;

    /// Removes all elements; the name stays.
    virtual void clear();

    WString getName() const { return name; }
    std::u16string_view nameView() const { return name; }
    /// The number of elements of every kind.
    std::size_t getSize() const { return elements.size(); }
    std::list<WString> getKeys() const;
    std::list<WString> getValues() const;
    /// Empty if the key is missing.
    WString getValue(const WString& key) const;
    bool contains(const WString& key) const;

    /// In place if the key is there, else at the end. Throws `NorqIllegalArgumentException` for a key that is nothing
    /// but white space.
    void setValue(const WString& key, const WString& value);
    /// True if the key was there.
    bool removeKeyValue(const WString& key);
    /// A key with its value as by `setValue`; anything else at the end.
    void appendElement(const ConfigurationElement& element);
    /// All elements of the other section, in order.
    void appendElements(const ConfigurationSection& section);

    /// Shows each element in order.
    void visit(ConfigurationVisitor& visitor) const;

private:
    friend class Configuration;
    friend class NorqConfig;
    friend class norq_std_internal::IniReader;

    WString name;
    norq_std_internal::LineList elements;
};

} // namespace norq_std
