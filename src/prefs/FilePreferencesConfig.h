#pragma once

#include "concurrency/AutoLock.h"
#include "config/NorqConfig.h"
#include "prefs/FilePreferences.h"

#include <optional>

namespace norq_std {

/// The configuration of a node, which reads a changed file under the node's lock: no put, flush or sync of this process
/// comes between the reading and the taking over, and undoes it or is undone.
class FilePreferences::NodeConfig final : public NorqConfig {
public:
    NodeConfig(FilePreferences& owningNode, const WString& file)
        : NorqConfig(file)
        , owner(owningNode) {}
    ~NodeConfig() override { endWatching(); }

    void onFileDeleted(const File&) override { pass(true); }
    void onFileCreated(const File&) override { pass(false); }
    void onFileContentChange(const File&) override { pass(false); }

    /// Of a key of the node.
    std::optional<WString> value(const WString& key) const {
        const AutoLock<Lock> guard(lock);
        const ConfigurationSection& keys = getSection(defaultSection);
        WString found = keys.getValue(key);
        if (found.empty() && !keys.contains(key))
            return std::nullopt;
        return found;
    }

    /// Under the node's lock. What was not saved yet stands, whatever the file has: nothing is told of it.
    void follow(bool deleted, const UnsavedValues& mine) {
        checkFileForChanges(deleted, [&mine](Configuration& read) {
            for (const auto& [key, value] : mine)
                if (value)
                    read.setValue(key, *value, defaultSection);
                else
                    read.removeKeyValue(key, defaultSection);
        });
    }

private:
    /// The node may lose its last other owner meanwhile. It then ends with this function, and this object with it, when
    /// nothing here is used any more.
    void pass(bool deleted) {
        const auto node = owner.weak_from_this().lock();
        if (node != nullptr)
            static_cast<FilePreferences&>(*node).followFile(deleted);
    }

    FilePreferences& owner;
};

} // namespace norq_std
