#pragma once

#include "base/Object.h"
#include "base/WString.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace norq_std {

class ByteArray;
class PreferenceChangeListener;
class PreferencesFactory;

/// A node in a tree of settings that outlive the process: a map from key to text, with child nodes by name.
///
/// There are two trees, of the user and of the system. Where they lie is the business of a factory, which is looked up
/// by class name at each call of `userRoot` and `systemRoot`: the name in the environment variable
/// "default.PreferencesFactory", else in the property of `NorqSystem` of the same name, else `defaultFactory`.
///
/// A path is names with `/` between; one that begins with `/` starts at the root of the tree. `//` in a path, or `/` at
/// its end, throws `NorqIllegalArgumentException`. Typed values are stored as text. What is put is in the store, for
/// other processes to see, at the latest after `flush`.
///
/// Nodes are shared: the same path gives the same object until the node is removed. On a removed node nearly every
/// operation throws `NorqIllegalStateException`. Any thread may call anything. See docs/preferences.md for the table of
/// types, the backends and the limits.
class NORQSTD_EXPORT Preferences : public Object {
public:
    /// In 16-bit units.
    static constexpr std::int32_t MAX_PREF_KEY_LENGTH = 80;
    static constexpr std::int32_t MAX_PREF_NAME_LENGTH = 80;
    static constexpr std::int32_t MAX_PREF_VALUE_LENGTH = 8192;
    static constexpr WChar SLASH = u'/';
    /// The class name of `RegistryPreferencesFactory`.
    static const WChar* const defaultFactory;

    /// Throw `NorqAccessException` if no factory of the name is registered, and what the factory throws.
    static std::shared_ptr<Preferences> userRoot();
    static std::shared_ptr<Preferences> systemRoot();
    /// Puts what the file holds into the tree that it names. Throws `NorqInvalidPreferencesFormatException` for a file
    /// that is not of the format, and `NorqIOException`.
    static void importPreferences(const WString& path);

    Preferences(const Preferences&) = delete;
    Preferences& operator=(const Preferences&) = delete;
    ~Preferences() override;

    WString toString() const override = 0;

    virtual WString absolutePath() const = 0;
    /// The listener is called for each key of this node that changes, by whomever, from now on. A second time changes
    /// nothing. Throws `NorqIllegalArgumentException` for null.
    virtual void addPreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>& listener) = 0;
    /// Of the children in the store and of those that were only made here, sorted.
    virtual std::vector<WString> childrenNames() const = 0;
    /// Removes all keys of this node.
    virtual void clear() = 0;
    /// Writes this node, without its children, to an XML file; `exportSubtree` with all below it. Throw
    /// `NorqIOException`, and `NorqBackingStoreException` if the store cannot be read.
    virtual void exportNode(const WString& path) = 0;
    virtual void exportSubtree(const WString& path) = 0;
    /// Writes what was changed here, in this node and in the nodes below it that this process has made. Throws
    /// `NorqBackingStoreException`; the nodes below are then not written.
    virtual void flush() = 0;

    // The default is given for an absent key, for a text that is not of the type, and where the store cannot be read.

    virtual WString get(const WString& key, const WString& defaultValue) const = 0;
    virtual bool getBoolean(const WString& key, bool defaultValue) const = 0;
    /// A new array in every case.
    virtual std::shared_ptr<ByteArray> getByteArray(const WString& key, const ByteArray& defaultValue) const = 0;
    virtual double getDouble(const WString& key, double defaultValue) const = 0;
    virtual float getFloat(const WString& key, float defaultValue) const = 0;
    virtual std::int32_t getInt(const WString& key, std::int32_t defaultValue) const = 0;
    virtual std::int64_t getLongLong(const WString& key, std::int64_t defaultValue) const = 0;

    /// Whether the root of this tree is the present `userRoot`.
    virtual bool isUserNode() const = 0;
    /// Of this node in the store. Throws `NorqBackingStoreException` if it cannot be read.
    virtual std::vector<WString> keys() const = 0;
    /// Empty for a root.
    virtual WString name() const = 0;
    /// The node at the path, made with all nodes on the way if it is not there. An empty path is this node.
    virtual std::shared_ptr<Preferences> node(const WString& path) = 0;
    virtual bool nodeExists(const WString& path) const = 0;
    /// Null for a root.
    virtual std::shared_ptr<Preferences> parent() const = 0;

    // These throw `NorqIllegalArgumentException` for an empty key and for what is longer than its limit.

    virtual void put(const WString& key, const WString& value) = 0;
    virtual void putBoolean(const WString& key, bool value) = 0;
    virtual void putByteArray(const WString& key, const ByteArray& value) = 0;
    /// Six significant digits are kept.
    virtual void putDouble(const WString& key, double value) = 0;
    virtual void putFloat(const WString& key, float value) = 0;
    virtual void putInt(const WString& key, std::int32_t value) = 0;
    virtual void putLongLong(const WString& key, std::int64_t value) = 0;

    /// An absent key is no error.
    virtual void remove(const WString& key) = 0;
    /// Removes this node and all below it, from the store too, at once. Throws `NorqIllegalArgumentException` for a
    /// root, and `NorqBackingStoreException`.
    virtual void removeNode() = 0;
    /// Throws `NorqIllegalArgumentException` for null; one that is not there is no error.
    virtual void removePreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>& listener) = 0;
    /// As `flush`, and takes in what others have changed in the store.
    virtual void sync() = 0;
    /// The name under which the listeners of this node are filed in the `PreferenceChangeNotifier`.
    virtual WString buildListenerPath() const = 0;

protected:
    Preferences() = default;

private:
    static std::shared_ptr<PreferencesFactory> getFactory();

    static std::shared_ptr<PreferencesFactory>& factory; // the one that was asked last
};

} // namespace norq_std
