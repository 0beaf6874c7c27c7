#include "Store.h"

#include "Failure.h"

#include "exception/NorqException.h"

namespace norqreg {
namespace {

constexpr std::uint32_t ACCESS_TO_MAKE = norq_std::KEY_READ | norq_std::KEY_WRITE;

[[noreturn]] void failNoValue(const KeyPath& path, const WString& name) {
    throw Failure(NOT_FOUND, "there is no value " + readableName(name) + " in " + path.toReadable());
}

} // namespace

Key::Key(const KeyPath& itsPath, std::uint32_t access)
    : path(itsPath) {
    try {
        registry.openKey(handleOf(path.hive), path.path, access);
    } catch (const norq_std::NorqObjectNotFoundException&) {
        if (path.isHive()) // a hive that cannot be had: the exception says why
            throw;
        throw Failure(NOT_FOUND, "there is no key " + path.toReadable());
    }
}

Key::~Key() { registry.closeKey(); }

std::unique_ptr<Key> Key::make(const KeyPath& path) {
    std::unique_ptr<Key> key(new Key(path, Unopened()));
    bool existed = false;
    key->registry.createKey(existed, handleOf(path.hive), path.path, ACCESS_TO_MAKE, 0);
    return key;
}

bool Key::exists(const KeyPath& path) {
    norq_std::NorqRegistry registry;
    try {
        registry.openKey(handleOf(path.hive), path.path, norq_std::KEY_READ);
        registry.closeKey();
        return true;
    } catch (const norq_std::NorqObjectNotFoundException&) {
        return false;
    }
}

WString Key::get(const WString& name) const {
    try {
        return registry.getStrValue(name);
    } catch (const norq_std::NorqObjectNotFoundException& failure) {
        if (failure.getErrNum() == 0) // it is there, but neither text nor number
            throw;
        failNoValue(path, name);
    }
}

void Key::remove(const WString& name) {
    try {
        registry.deleteValue(name);
    } catch (const norq_std::NorqObjectNotFoundException&) {
        failNoValue(path, name);
    }
}

norq_std::HKey handleOf(Hive hive) {
    return hive == Hive::CURRENT_USER ? norq_std::HKEY_CURRENT_USER : norq_std::HKEY_LOCAL_MACHINE;
}

std::shared_ptr<norq_std::JsonObject> valuesToJson(const std::vector<Key::Value>& values) {
    auto json = std::make_shared<norq_std::JsonObject>();
    for (const auto& [name, text] : values)
        json->putString(name, text);
    return json;
}

std::string describe(const Key::Value& value) { return readableName(value.first) + " = " + readable(value.second); }

} // namespace norqreg
