#include "StrictPreferences.h"

#include "Store.h"

#include "base/AutoRegisterClass.h"
#include "prefs/AbstractPreferences.h"
#include "prefs/PreferencesFactory.h"
#include "system/NorqSystem.h"

#include <algorithm>

namespace norqreg {
namespace {

constexpr const WChar* CLASS_NAME = u"norqreg.StrictPreferencesFactory";

KeyPath below(Hive hive, WString path) {
    std::replace(path.begin(), path.end(), u'/', u'\\');
    return {hive, path.substr(path.starts_with(u'\\') ? 1 : 0)};
}

class StrictPreferences : public norq_std::AbstractPreferences {
public:
    explicit StrictPreferences(Hive hive)
        : AbstractPreferences(nullptr, WString())
        , key{hive, {}} {}
    StrictPreferences(const std::shared_ptr<StrictPreferences>& parent, const WString& name)
        : AbstractPreferences(parent, name)
        , key(below(parent->key.hive, path())) {
        Key::make(key);
    }

    WString buildListenerPath() const override { return key.toText(); }

protected:
    std::vector<WString> childrenNamesSpi() const override { return Key(key).keys(); }
    Node childSpi(const WString& name) override {
        return std::make_shared<StrictPreferences>(std::static_pointer_cast<StrictPreferences>(shared_from_this()),
                                                   name);
    }
    bool existsSpi(const WString& relative) const override {
        return Key::exists(below(key.hive, path() + u"/" + relative));
    }
    std::vector<WString> keysSpi() const override {
        std::vector<WString> names;
        for (const auto& value : Key(key).values())
            names.push_back(value.first);
        return names;
    }
    WString getSpi(const WString& name) const override { return Key(key).get().getStrValue(name); }
    void putSpi(const WString& name, const WString& text) override { Key::make(key)->get().setStrValue(name, text); }
    void removeSpi(const WString& name) override { Key::make(key)->get().deleteValue(name); }
    void flushSpi() override {}
    void syncSpi() override {}
    void removeNodeSpi() override { norq_std::NorqRegistry().deleteKey(handleOf(key.hive), key.path); }

private:
    const KeyPath key;
};

class StrictPreferencesFactory : public norq_std::PreferencesFactory,
                                 public norq_std::AutoRegisterClass<StrictPreferencesFactory> {
public:
    WString getClassName() const override { return CLASS_NAME; }
    std::shared_ptr<norq_std::Preferences> systemRoot() override { return system; }
    std::shared_ptr<norq_std::Preferences> userRoot() override { return user; }

private:
    const std::shared_ptr<StrictPreferences> system = std::make_shared<StrictPreferences>(Hive::LOCAL_MACHINE);
    const std::shared_ptr<StrictPreferences> user = std::make_shared<StrictPreferences>(Hive::CURRENT_USER);
};

} // namespace

void useStrictPreferences() {
    StrictPreferencesFactory::registerClass();
    norq_std::NorqSystem::getInstance().putEnv(u"default.PreferencesFactory", CLASS_NAME);
}

} // namespace norqreg
