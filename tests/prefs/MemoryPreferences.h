#pragma once

#include "exception/NorqException.h"
#include "prefs/AbstractPreferences.h"

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace norqstd_test {

/// Preferences without a store: what a node holds is in the node. Nodes that were flushed count as being in the store.
class MemoryPreferences : public norq_std::AbstractPreferences {
public:
    using WString = norq_std::WString;

    static std::shared_ptr<MemoryPreferences> newRoot() {
        return std::shared_ptr<MemoryPreferences>(new MemoryPreferences(nullptr, WString()));
    }
    /// For what its constructor refuses.
    static std::shared_ptr<MemoryPreferences> newNode(const std::shared_ptr<AbstractPreferences>& parent,
                                                      const WString& name) {
        return std::shared_ptr<MemoryPreferences>(new MemoryPreferences(parent, name));
    }
    /// Removes all nodes below, which hold each other.
    void drop() {
        for (const auto& child : cachedChildren())
            child->removeNode();
    }

    WString buildListenerPath() const override { return absolutePath(); }

    std::set<WString> stored; // names of children that were never made here
    std::function<void(const std::string& operation, MemoryPreferences& node)> onCall = [](const auto&, auto&) {};

    using AbstractPreferences::cachedChildren;
    using AbstractPreferences::getChild;
    using AbstractPreferences::isRemoved;

protected:
    std::vector<WString> childrenNamesSpi() const override { return {stored.begin(), stored.end()}; }
    std::shared_ptr<AbstractPreferences> childSpi(const WString& childName) override {
        const auto child = newNode(shared_from_this(), childName);
        child->onCall = onCall;
        return child;
    }
    bool existsSpi(const WString& path) const override { return stored.contains(path); }
    std::vector<WString> keysSpi() const override {
        std::vector<WString> keys;
        for (const auto& [key, value] : values)
            keys.push_back(key);
        return keys;
    }
    WString getSpi(const WString& key) const override {
        const auto found = values.find(key);
        if (found == values.end())
            throw norq_std::NorqObjectNotFoundException(u"no such key");
        return found->second;
    }
    void putSpi(const WString& key, const WString& value) override { values[key] = value; }
    void removeSpi(const WString& key) override { values.erase(key); }
    void flushSpi() override { onCall("flush", *this); }
    void syncSpi() override { onCall("sync", *this); }
    void removeNodeSpi() override { onCall("remove", *this); }

    MemoryPreferences(const std::shared_ptr<AbstractPreferences>& parent, const WString& name)
        : AbstractPreferences(parent, name) {}

private:
    std::map<WString, WString> values;
};

} // namespace norqstd_test
