#pragma once

#include "base/ThreadAnnotations.h"
#include "concurrency/Lock.h"
#include "prefs/Preferences.h"

#include <map>
#include <memory>
#include <string_view>
#include <vector>

namespace norq_std {

/// A node of preferences but for its store: typed values, paths, limits, locks, the cache of child nodes, flushing and
/// removal. A backend derives from it and supplies the operations whose names end in `Spi`.
///
/// A node that was made stays in its parent's cache until it is removed, and holds its parent; so a tree keeps all its
/// nodes alive. Nodes must be owned by shared pointers.
///
/// Each node has one recursive lock, and locks are taken from the root downwards alone: who holds the lock of a node
/// may take that of a node below it, and of none above or beside it. A backend calls nothing of another node under its
/// own lock, and takes locks of its own after it.
class NORQSTD_EXPORT AbstractPreferences : public Preferences,
                                           public std::enable_shared_from_this<AbstractPreferences> {
public:
    ~AbstractPreferences() override;

    WString toString() const override;

    WString absolutePath() const override;
    /// Does nothing; a backend that can tell of changes overrides it.
    void addPreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>& listener) override;
    std::vector<WString> childrenNames() const override;
    void clear() override;
    void exportNode(const WString& path) override;
    void exportSubtree(const WString& path) override;
    void flush() override;
    WString get(const WString& key, const WString& defaultValue) const override;
    bool getBoolean(const WString& key, bool defaultValue) const override;
    std::shared_ptr<ByteArray> getByteArray(const WString& key, const ByteArray& defaultValue) const override;
    double getDouble(const WString& key, double defaultValue) const override;
    float getFloat(const WString& key, float defaultValue) const override;
    std::int32_t getInt(const WString& key, std::int32_t defaultValue) const override;
    std::int64_t getLongLong(const WString& key, std::int64_t defaultValue) const override;
    bool isUserNode() const override;
    std::vector<WString> keys() const override;
    WString name() const override;
    std::shared_ptr<Preferences> node(const WString& path) override;
    bool nodeExists(const WString& path) const override;
    std::shared_ptr<Preferences> parent() const override;
    void put(const WString& key, const WString& value) override;
    void putBoolean(const WString& key, bool value) override;
    void putByteArray(const WString& key, const ByteArray& value) override;
    void putDouble(const WString& key, double value) override;
    void putFloat(const WString& key, float value) override;
    void putInt(const WString& key, std::int32_t value) override;
    void putLongLong(const WString& key, std::int64_t value) override;
    void remove(const WString& key) override;
    void removeNode() override;
    /// Does nothing.
    void removePreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>& listener) override;
    void sync() override;

protected:
    using Node = std::shared_ptr<AbstractPreferences>;

    /// A root has neither parent nor name, every other node both. Throws `NorqIllegalArgumentException` for anything
    /// else, and for a name that is too long or holds a slash.
    AbstractPreferences(const std::shared_ptr<AbstractPreferences>& parent, const WString& name);

    /// The children that were made and not removed, in the order of their names.
    virtual std::vector<std::shared_ptr<AbstractPreferences>> cachedChildren() const;
    virtual bool isRemoved() const;
    /// The child of that name if it was made, else null.
    virtual std::shared_ptr<AbstractPreferences> getChild(const WString& childName) const;

    // What a backend supplies. All are called with the lock of this node held, and never on a removed node.

    /// The names of the children in the store, whether they were made here or not, in any order.
    virtual std::vector<WString> childrenNamesSpi() const = 0;
    /// A new node with this one as its parent, which need not yet be in the store.
    virtual std::shared_ptr<AbstractPreferences> childSpi(const WString& childName) = 0;
    /// Whether the store has a node at this relative, not empty path.
    virtual bool existsSpi(const WString& path) const = 0;
    virtual std::vector<WString> keysSpi() const = 0;
    /// Throws an exception of the family if the key is absent: an empty value is a value.
    virtual WString getSpi(const WString& key) const = 0;
    /// Stores the value, at least in memory.
    virtual void putSpi(const WString& key, const WString& value) = 0;
    /// An absent key is no error.
    virtual void removeSpi(const WString& key) = 0;
    /// Writes this node's changes; `syncSpi` also takes in what others changed. Throw `NorqBackingStoreException`.
    virtual void flushSpi() = 0;
    virtual void syncSpi() = 0;
    /// Deletes this node from the store, with the lock of the parent held as well. The nodes below it that were made
    /// have been removed before.
    virtual void removeNodeSpi() = 0;

    /// Throws `NorqIllegalStateException`, logged under the name of the operation, if the node was removed.
    void assertNodeNotRemoved(const WChar* function) const NORQ_REQUIRES(lock);
    /// Throw `NorqIllegalArgumentException` for a text beyond its limit; of a value, for an empty key as well.
    static void checkKey(const WString& key, const WChar* function);
    static void checkEntry(const WString& key, const WString& value, const WChar* function);
    /// The root has an empty path here, so that the paths of its children begin with one slash.
    WString path() const;

    /// The parent as a node of this kind, which never changes; null for a root.
    const std::shared_ptr<AbstractPreferences>& parentOf() const { return parentNode; }

    /// Guards this node.
    mutable Lock lock;
    /// Set by a backend if the node was not in the store when it was made.
    bool newNode = false;

private:
    struct Descent;

    std::shared_ptr<AbstractPreferences> getRootNode() const;
    static void assertValidPath(const WString& path);
    std::shared_ptr<AbstractPreferences> getNode(std::u16string_view path);
    std::shared_ptr<AbstractPreferences> childNamed(std::u16string_view childName) NORQ_REQUIRES(lock);
    bool existsNode(const WString& path) const NORQ_REQUIRES(lock);
    void flushNode(bool isSync);
    /// Writes this node alone; the names of its cached children.
    std::vector<WString> flushAlone(bool isSync);
    void purge();

    std::shared_ptr<AbstractPreferences> parentNode;
    const WString parentPath;
    const WString nodeName;
    bool removed NORQ_GUARDED_BY(lock) = false;
    std::map<WString, std::shared_ptr<AbstractPreferences>, std::less<>> children NORQ_GUARDED_BY(lock);
};

} // namespace norq_std
