#pragma once

#include "MemoryPreferences.h"

#include "base/AutoRegisterClass.h"
#include "prefs/PreferencesFactory.h"
#include "system/NorqSystem.h"

#include <functional>
#include <memory>
#include <string>

namespace norqstd_test {

/// Two trees in memory, which are the user's and the system's of the process while this lives, unless another is made
/// meanwhile.
class MemoryTree {
public:
    MemoryTree();
    ~MemoryTree();
    MemoryTree(const MemoryTree&) = delete;
    MemoryTree& operator=(const MemoryTree&) = delete;

    const std::shared_ptr<MemoryPreferences> user = MemoryPreferences::newRoot();
    const std::shared_ptr<MemoryPreferences> system = MemoryPreferences::newRoot();
    /// Runs in each flush of a node of the user's, under its lock.
    std::function<void(MemoryPreferences&)> onFlush = [](auto&) {};

private:
    MemoryTree* const previous;
};

class MemoryTreeFactory : public norq_std::PreferencesFactory, public norq_std::AutoRegisterClass<MemoryTreeFactory> {
public:
    static constexpr norq_std::WChar NAME[] = u"norqstd_test.MemoryTreeFactory";

    norq_std::WString getClassName() const override { return NAME; }
    std::shared_ptr<norq_std::Preferences> userRoot() override { return tree()->user; }
    std::shared_ptr<norq_std::Preferences> systemRoot() override { return tree()->system; }

    static MemoryTree*& tree() {
        static MemoryTree* current = nullptr;
        return current;
    }
};

inline MemoryTree::MemoryTree()
    : previous(MemoryTreeFactory::tree()) {
    user->onCall = [this](const std::string& operation, MemoryPreferences& node) {
        if (operation == "flush")
            onFlush(node);
    };
    MemoryTreeFactory::registerClass();
    MemoryTreeFactory::tree() = this;
    norq_std::NorqSystem::getInstance().setProperty(u"default.PreferencesFactory", MemoryTreeFactory::NAME);
}

inline MemoryTree::~MemoryTree() {
    user->drop();
    system->drop();
    MemoryTreeFactory::tree() = previous;
    if (previous == nullptr)
        norq_std::NorqSystem::getInstance().setProperty(u"default.PreferencesFactory", norq_std::WString());
}

} // namespace norqstd_test
