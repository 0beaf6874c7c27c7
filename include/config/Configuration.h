#pragma once

#include "base/Object.h"
#include "base/ThreadAnnotations.h"
#include "concurrency/Lock.h"
#include "config/ConfigurationSection.h"
#include "internal/NamedList.h"

#include <list>
#include <string_view>

namespace norq_std_internal {
class IniReader;
}

namespace norq_std {

class ConfigurationVisitor;

/// Settings in named sections, with their comments, blank lines and order, in memory. `ConfigurationFile` binds one to
/// a file, `NorqConfig` keeps it true to the file.
///
/// The default section, with the empty name, is always there and stands first; no two sections have the same name.
/// Section names and keys are compared exactly, after white space at both ends is removed; a value keeps its leading
/// white space and loses what trails. Finding a section or a key takes the same time however many there are.
///
/// Any thread may call anything: each operation holds the object's lock from begin to end. The lock is recursive, and
/// derived classes take it to make longer steps one.
class NORQSTD_EXPORT Configuration : public Object {
public:
    /// The name of the default section: empty.
    static const WString& defaultSection;

    Configuration();
    Configuration(const Configuration&) = delete;
    Configuration& operator=(const Configuration&) = delete;
    ~Configuration() override;

    WString toString() const override;

    // The key comes first and the section last; a missing section is an empty one to what only asks.

    virtual WString getValue(const WString& key, const WString& section) const;
    /// All names in order, the default section's empty one included.
    virtual std::list<WString> getSectionNames() const;
    /// In place if the key is there, else at the end of its section; a missing section is made at the end. Throws
    /// `NorqIllegalArgumentException`, and changes nothing, for a key that is nothing but white space.
    virtual void setValue(const WString& key, const WString& value, const WString& section);
    virtual bool containsKey(const WString& key, const WString& section) const;
    virtual bool containsSection(const WString& section) const;
    /// True if the key was there.
    virtual bool removeKeyValue(const WString& key, const WString& section);
    /// A copy at the end; into a section of the same name, its elements are appended.
    virtual void addSection(const ConfigurationSection& section);
    /// True if the section was there. The default section is emptied and stays.
    virtual bool removeSection(const WString& section);
    /// Leaves the empty default section alone.
    virtual void clear();

    std::list<WString> getKeys(const WString& section) const;
    std::list<WString> getValues(const WString& section) const;
    /// A missing section is made at the end.
    void appendElement(const ConfigurationElement& element, const WString& section);

    /// Shows each section, then its elements, with the lock held throughout.
    void visit(ConfigurationVisitor& visitor) const;
    /// Deep copies, in order.
    std::list<ConfigurationSection> copySections() const;

protected:
    // The reference is good for as long as the lock is held and the section is there.

    /// Throws `NorqIllegalArgumentException` if it is missing.
    const ConfigurationSection& getSection(const WString& section) const;
    /// Makes a missing one at the end.
    ConfigurationSection& getSection(const WString& section);

    /// Guards the sections and everything in them.
    mutable Lock lock;

private:
    friend class ConfigurationFile;
    friend class IniConfigurationSerializer;
    friend class NorqConfig;
    friend class norq_std_internal::IniReader;

    static std::u16string_view nameOf(const ConfigurationSection& section) { return section.nameView(); }
    using SectionList = norq_std_internal::NamedList<ConfigurationSection, nameOf>;

    /// The section by its trimmed name, null if there is none.
    ConfigurationSection* find(std::u16string_view trimmedName) NORQ_REQUIRES(lock);
    const ConfigurationSection* find(std::u16string_view trimmedName) const NORQ_REQUIRES(lock);
    ConfigurationSection& findOrAdd(std::u16string_view trimmedName) NORQ_REQUIRES(lock);
    /// About how many units a text of it has.
    std::size_t estimateSize() const;
    /// Takes the other's sections for one's own.
    void exchangeSections(Configuration& other);

    SectionList sections NORQ_GUARDED_BY(lock);
};

} // namespace norq_std
