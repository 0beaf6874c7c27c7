#pragma once

#include "base/AutoRegisterClass.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "prefs/AbstractPreferences.h"
#include "prefs/PreferencesFactory.h"
#include "system/NorqSystem.h"

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace norqstd_test {

/// A tree of preferences in memory alone, whose user and system roots are the process's while it lives, unless another
/// is made meanwhile. Its keys come in the order in which they were put.
class MemoryTree {
public:
    MemoryTree();
    ~MemoryTree();
    MemoryTree(const MemoryTree&) = delete;
    MemoryTree& operator=(const MemoryTree&) = delete;

    std::shared_ptr<norq_std::Preferences> user;
    std::shared_ptr<norq_std::Preferences> system;
    /// Runs in each flush of a node, under its lock.
    std::function<void(norq_std::Preferences&)> onFlush = [](norq_std::Preferences&) {};

private:
    MemoryTree* const previous;
};

class MemoryPreferences : public norq_std::AbstractPreferences {
public:
    MemoryPreferences(const MemoryTree& ownerTree, const Node& parent, const norq_std::WString& name)
        : AbstractPreferences(parent, name)
        , tree(ownerTree) {}

    norq_std::WString buildListenerPath() const override { return absolutePath(); }

protected:
    std::vector<norq_std::WString> childrenNamesSpi() const override { return {}; }
    Node childSpi(const norq_std::WString& name) override {
        return std::make_shared<MemoryPreferences>(tree, shared_from_this(), name);
    }
    bool existsSpi(const norq_std::WString& path) const override { return getChild(path) != nullptr; }
    std::vector<norq_std::WString> keysSpi() const override {
        std::vector<norq_std::WString> keys;
        for (const auto& [index, key] : order)
            keys.push_back(key);
        return keys;
    }
    norq_std::WString getSpi(const norq_std::WString& key) const override {
        const auto found = values.find(key);
        if (found == values.end())
            throw norq_std::NorqObjectNotFoundException(u"no such key");
        return found->second.second;
    }
    void putSpi(const norq_std::WString& key, const norq_std::WString& value) override {
        const auto [entry, isNew] = values.try_emplace(key, next, norq_std::WString());
        entry->second.second = value;
        if (isNew)
            order.emplace(next++, key);
    }
    void removeSpi(const norq_std::WString& key) override {
        if (const auto found = values.find(key); found != values.end()) {
            order.erase(found->second.first);
            values.erase(found);
        }
    }
    void flushSpi() override { tree.onFlush(*this); }
    void syncSpi() override {}
    void removeNodeSpi() override {}

private:
    const MemoryTree& tree;
    std::map<norq_std::WString, std::pair<std::size_t, norq_std::WString>> values;
    std::map<std::size_t, norq_std::WString> order;
    std::size_t next = 0;
};

class MemoryFactory : public norq_std::PreferencesFactory, public norq_std::AutoRegisterClass<MemoryFactory> {
public:
    static constexpr norq_std::WChar NAME[] = u"norqstd_test.MemoryFactory";

    norq_std::WString getClassName() const override { return NAME; }
    std::shared_ptr<norq_std::Preferences> userRoot() override { return tree()->user; }
    std::shared_ptr<norq_std::Preferences> systemRoot() override { return tree()->system; }

    static MemoryTree*& tree() {
        static MemoryTree* current = nullptr;
        return current;
    }
};

inline MemoryTree::MemoryTree()
    : user(std::make_shared<MemoryPreferences>(*this, nullptr, norq_std::WString()))
    , system(std::make_shared<MemoryPreferences>(*this, nullptr, norq_std::WString()))
    , previous(MemoryFactory::tree()) {
    MemoryFactory::registerClass();
    MemoryFactory::tree() = this;
    norq_std::NorqSystem::getInstance().setProperty(u"default.PreferencesFactory", MemoryFactory::NAME);
}

inline MemoryTree::~MemoryTree() {
    MemoryFactory::tree() = previous;
    if (previous == nullptr)
        norq_std::NorqSystem::getInstance().setProperty(u"default.PreferencesFactory", norq_std::WString());
}

} // namespace norqstd_test
