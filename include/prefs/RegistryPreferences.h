#pragma once

#include "prefs/AbstractPreferences.h"
#include "windows/Registry.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace norq_std {

/// Preferences in the registry: the tree of the user under HKEY_CURRENT_USER, that of the system under
/// HKEY_LOCAL_MACHINE. A node is the key of its path, a preference a value of that key.
///
/// Each operation goes to the store and is there for every process when it returns; `flush` and `sync` have nothing to
/// do. A node is in the store from the moment that it is made here. A value that cannot be written is dropped and
/// nobody is told; what cannot be read is its default. The removal of a node whose key is already gone succeeds:
/// otherwise a key that another process removed, or this one under another spelling, would keep its node and every
/// branch that holds it from ever being removed here.
///
/// A key whose name holds a slash or is too long cannot be a node, and is no child of one.
///
/// Listeners hear of the values of the node itself, whichever process changed them: of several changes to a value in
/// quick succession perhaps only the last, and of a removal with an empty text. The root has no listeners. A listener
/// is called for the same text under a node until it is removed there, also when the key is removed and made again.
///
/// Roots come from `RegistryPreferencesFactory`, nodes from their parents.
class NORQSTD_EXPORT RegistryPreferences : public AbstractPreferences {
public:
    static constexpr HKey SHKEY_CURRENT_USER = HKEY_CURRENT_USER;
    static constexpr HKey SHKEY_LOCAL_MACHINE = HKEY_LOCAL_MACHINE;
    static constexpr const WChar* HKEY_CURRENT_USER_STR = u"HKEY_CURRENT_USER";
    static constexpr const WChar* HKEY_LOCAL_MACHINE_STR = u"HKEY_LOCAL_MACHINE";

    ~RegistryPreferences() override;

    static std::shared_ptr<Preferences> getSystemRoot();
    static std::shared_ptr<Preferences> getUserRoot();

    /// Throws `NorqIllegalArgumentException` for the root, beside what the interface says.
    void addPreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>& listener) override;
    /// A removed node refuses, but the listener is gone all the same.
    void removePreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>& listener) override;
    std::int32_t getInt(const WString& key, std::int32_t defaultValue) const override;
    /// Stored as a number, which reads as its decimal text.
    void putInt(const WString& key, std::int32_t value) override;
    WString buildListenerPath() const override;

protected:
    std::vector<WString> childrenNamesSpi() const override;
    std::shared_ptr<AbstractPreferences> childSpi(const WString& childName) override;
    bool existsSpi(const WString& path) const override;
    std::vector<WString> keysSpi() const override;
    WString getSpi(const WString& key) const override;
    void putSpi(const WString& key, const WString& value) override;
    void removeSpi(const WString& key) override;
    void flushSpi() override;
    void syncSpi() override;
    void removeNodeSpi() override;

private:
    friend class RegistryListener;

    class OpenKey;
    struct Shared;

    RegistryPreferences(HKey rootKey, const WString& name);
    RegistryPreferences(const std::shared_ptr<RegistryPreferences>& parent, const WString& name);

    /// The node at a path below the root, made only where its key is there; otherwise throws
    /// `NorqObjectNotFoundException`.
    static std::shared_ptr<Preferences> existingNode(HKey root, const WString& path);
    void createInRegistry();
    static Shared& shared();

    const HKey root;
    const WString registryPath; // below the root, with backslashes
};

} // namespace norq_std
