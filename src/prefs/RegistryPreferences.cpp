#include "prefs/RegistryPreferences.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "prefs/RegistryChangeNotifier.h"
#include "windows/AutoCloseRegistry.h"
#include "windows/NorqRegistry.h"

#include <algorithm>
#include <atomic>

namespace norq_std {

namespace {

WString withBackslashes(WString path) {
    std::replace(path.begin(), path.end(), u'/', u'\\');
    return path;
}

/// Made once, and never deleted: threads may use it to the end of the process.
class Root {
public:
    template <class Make>
    std::shared_ptr<Preferences> get(Lock& lock, const Make& make) {
        if (!isMade.load(std::memory_order_acquire)) {
            const AutoLock<Lock> guard(lock);
            if (!isMade.load(std::memory_order_relaxed)) {
                node = make();
                isMade.store(true, std::memory_order_release);
            }
        }
        return node;
    }

private:
    std::shared_ptr<Preferences> node;
    std::atomic<bool> isMade{false};
};

/// Whether this thread makes the keys of the nodes that it makes.
thread_local bool makesKeys = true;

/// Lets this thread make no key.
class KeysAsTheyAre {
public:
    KeysAsTheyAre() { makesKeys = false; }
    ~KeysAsTheyAre() { makesKeys = true; }
    KeysAsTheyAre(const KeysAsTheyAre&) = delete;
    KeysAsTheyAre& operator=(const KeysAsTheyAre&) = delete;
};

} // namespace

/// What all nodes share.
struct RegistryPreferences::Shared {
    Lock rootLock; // guards the making of the roots
    Root userRoot;
    Root systemRoot;
};

/// One key, open for one operation. Each operation has a registry object of its own, so that none waits for another
/// that waits for the store.
class RegistryPreferences::OpenKey {
public:
    OpenKey(const RegistryPreferences& node, std::uint32_t access)
        : OpenKey(node.root, node.registryPath, access) {}
    OpenKey(HKey root, const WString& path, std::uint32_t access)
        : key(registry, root, path, access) {}

    NorqRegistry* operator->() { return &registry; }

private:
    NorqRegistry registry;
    const AutoCloseRegistry key;
};

RegistryPreferences::Shared& RegistryPreferences::shared() {
    static Shared& theShared = *new Shared;
    return theShared;
}

RegistryPreferences::RegistryPreferences(HKey rootKey, const WString& name)
    : AbstractPreferences(nullptr, name)
    , root(rootKey) {
    createInRegistry();
}

RegistryPreferences::RegistryPreferences(const std::shared_ptr<RegistryPreferences>& parent, const WString& name)
    : AbstractPreferences(parent, name)
    , root(parent->root)
    , registryPath(withBackslashes(absolutePath()).substr(1)) {
    createInRegistry();
}

RegistryPreferences::~RegistryPreferences() = default;

void RegistryPreferences::createInRegistry() {
    try {
        if (!makesKeys) {
            const OpenKey key(*this, KEY_READ);
            return;
        }
        bool existed = false;
        NorqRegistry().createKey(existed, root, registryPath, KEY_WRITE, 0);
        newNode = !existed;
    } catch (const NorqObjectNotFoundException&) {
        if (!makesKeys)
            throw;
    } catch (const NorqException&) { // a node that cannot be written may still be read
    }
}

std::shared_ptr<Preferences> RegistryPreferences::existingNode(HKey root, const WString& path) {
    const std::shared_ptr<Preferences> tree = root == SHKEY_LOCAL_MACHINE ? getSystemRoot() : getUserRoot();
    const KeysAsTheyAre keysAsTheyAre;
    return tree->node(path);
}

std::shared_ptr<Preferences> RegistryPreferences::getSystemRoot() {
    return shared().systemRoot.get(shared().rootLock, [] {
        return std::shared_ptr<Preferences>(new RegistryPreferences(SHKEY_LOCAL_MACHINE, WString()));
    });
}

std::shared_ptr<Preferences> RegistryPreferences::getUserRoot() {
    return shared().userRoot.get(shared().rootLock, [] {
        return std::shared_ptr<Preferences>(new RegistryPreferences(SHKEY_CURRENT_USER, WString()));
    });
}

void RegistryPreferences::addPreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>& listener) {
    static constexpr WChar Function[] = u"norq_std::RegistryPreferences::addPreferenceChangeListener";
    NORQ_LOG_FUNCTION_CALL(Function);
    ErrorUtils::isNullEx(listener, Function, u"Listener");
    {
        const AutoLock<Lock> guard(lock);
        assertNodeNotRemoved(Function);
    }
    RegistryChangeNotifier::getInstance().addPreferenceChangeListener(root, registryPath, buildListenerPath(),
                                                                      listener);
}

void RegistryPreferences::removePreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>& listener) {
    static constexpr WChar Function[] = u"norq_std::RegistryPreferences::removePreferenceChangeListener";
    NORQ_LOG_FUNCTION_CALL(Function);
    ErrorUtils::isNullEx(listener, Function, u"Listener");
    // Of a removed node too: nothing of it is left behind.
    RegistryChangeNotifier::getInstance().removePreferenceChangeListener(root, registryPath, buildListenerPath(),
                                                                         listener);
    const AutoLock<Lock> guard(lock);
    assertNodeNotRemoved(Function);
}

std::int32_t RegistryPreferences::getInt(const WString& key, std::int32_t defaultValue) const {
    static constexpr WChar Function[] = u"norq_std::RegistryPreferences::getInt";
    checkKey(key, Function);
    const AutoLock<Lock> guard(lock);
    assertNodeNotRemoved(Function);
    try {
        return OpenKey(*this, KEY_READ)->getIntValue(key, defaultValue);
    } catch (const NorqException&) {
        return defaultValue;
    }
}

void RegistryPreferences::putInt(const WString& key, std::int32_t value) {
    static constexpr WChar Function[] = u"norq_std::RegistryPreferences::putInt";
    checkEntry(key, WString(), Function);
    const AutoLock<Lock> guard(lock);
    assertNodeNotRemoved(Function);
    try {
        OpenKey(*this, KEY_WRITE)->setIntValue(key, value);
    } catch (const NorqException&) { // reported as STD3000
    }
}

WString RegistryPreferences::buildListenerPath() const {
    const WString rootName = root == SHKEY_LOCAL_MACHINE ? HKEY_LOCAL_MACHINE_STR : HKEY_CURRENT_USER_STR;
    return rootName + withBackslashes(absolutePath());
}

std::vector<WString> RegistryPreferences::childrenNamesSpi() const {
    try {
        std::vector<WString> names = OpenKey(*this, KEY_READ)->getKeys();
        std::erase_if(names, [this](const WString& name) {
            return name.find(SLASH) != WString::npos || (name.size() >= MAX_PREF_NAME_LENGTH && !existsSpi(name));
        });
        return names;
    } catch (const NorqException& e) {
        throw NorqBackingStoreException(u"Failed to get children names.", e);
    }
}

std::shared_ptr<AbstractPreferences> RegistryPreferences::childSpi(const WString& childName) {
    const auto self = std::static_pointer_cast<RegistryPreferences>(shared_from_this());
    return std::shared_ptr<AbstractPreferences>(new RegistryPreferences(self, childName));
}

bool RegistryPreferences::existsSpi(const WString& path) const {
    const WString below = registryPath.empty() ? WString() : registryPath + u'\\';
    try {
        const OpenKey key(root, below + withBackslashes(path), KEY_READ);
        return true;
    } catch (const NorqException&) {
        return false;
    }
}

std::vector<WString> RegistryPreferences::keysSpi() const {
    try {
        return OpenKey(*this, KEY_READ)->getKeysWithValue();
    } catch (const NorqException& e) {
        throw NorqBackingStoreException(u"Failed to get keys.", e);
    }
}

WString RegistryPreferences::getSpi(const WString& key) const { return OpenKey(*this, KEY_READ)->getStrValue(key); }

void RegistryPreferences::putSpi(const WString& key, const WString& value) {
    try {
        OpenKey(*this, KEY_WRITE)->setStrValue(key, value);
    } catch (const NorqException&) { // reported as STD3000
    }
}

void RegistryPreferences::removeSpi(const WString& key) {
    try {
        OpenKey(*this, KEY_WRITE)->deleteValue(key);
    } catch (const NorqException&) { // an absent key is no error, and others are reported as STD3000
    }
}

void RegistryPreferences::flushSpi() {}

void RegistryPreferences::syncSpi() {}

void RegistryPreferences::removeNodeSpi() {
    try {
        NorqRegistry().deleteKey(root, registryPath);
    } catch (const NorqObjectNotFoundException&) { // removed by another process, or under another spelling of its name
    } catch (const NorqException& e) {
        throw NorqBackingStoreException(u"Failed to remove node.", e);
    }
}

} // namespace norq_std
