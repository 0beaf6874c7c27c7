#pragma once

#include "KeyPath.h"

#include "base/JsonObject.h"
#include "windows/NorqRegistry.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace norqreg {

/// A key that is open while this lives. What the store refuses is an exception of the family, but a key that is not
/// there a `Failure` (`NOT_FOUND`) in plain words.
class Key {
public:
    using Value = norq_std::NorqRegistry::KeyValue;

    explicit Key(const KeyPath& itsPath, std::uint32_t access = norq_std::KEY_READ);
    ~Key();
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    /// Opens it for writing, and makes it where it is not there.
    static std::unique_ptr<Key> make(const KeyPath& path);
    static bool exists(const KeyPath& path);

    const KeyPath& getPath() const { return path; }
    std::vector<WString> keys() const { return registry.getKeys(); }
    std::vector<Value> values() const { return registry.getKeyValues(); }

    // These throw `Failure` (`NOT_FOUND`) for a value that is not there.

    WString get(const WString& name) const;
    void remove(const WString& name);
    norq_std::NorqRegistry& get() { return registry; }

private:
    struct Unopened {};
    Key(const KeyPath& itsPath, Unopened)
        : path(itsPath) {}

    const KeyPath path;
    norq_std::NorqRegistry registry;
};

norq_std::HKey handleOf(Hive hive);

/// Each name with its text.
std::shared_ptr<norq_std::JsonObject> valuesToJson(const std::vector<Key::Value>& values);
/// "name = value" as it stands in a list.
std::string describe(const Key::Value& value);

} // namespace norqreg
