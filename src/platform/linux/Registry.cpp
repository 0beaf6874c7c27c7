#include "platform/Registry.h"

#include "platform/CancellationShield.h"
#include "platform/Error.h"
#include "platform/linux/RegistryHive.h"
#include "platform/linux/RegistryOpenKeys.h"
#include "platform/linux/RegistryText.h"

#include <mutex>
#include <utility>

namespace norq_std_internal::platform {

namespace {

using namespace norq_std;

std::int32_t refuse(std::int32_t number) { return registryFails(number, std::u16string_view()); }

/// The open keys of the process. A handle is a place, and how often the place has been used: so no number is used
/// twice, and none looks like a root.
class OpenKeys {
public:
    HKey add(std::shared_ptr<RegistryOpenKey> key) {
        const std::lock_guard guard(mutex);
        if (vacant.empty()) {
            vacant.push_back(static_cast<std::uint32_t>(places.size()));
            places.emplace_back();
        }
        const std::uint32_t index = vacant.back();
        vacant.pop_back();
        Place& place = places[index];
        place.key = std::move(key);
        return HKey{++place.uses} << IndexBits | index;
    }
    std::shared_ptr<RegistryOpenKey> find(HKey handle) {
        const std::lock_guard guard(mutex);
        Place* const place = placeOf(handle);
        return place == nullptr ? nullptr : place->key;
    }
    std::shared_ptr<RegistryOpenKey> remove(HKey handle) {
        const std::lock_guard guard(mutex);
        Place* const place = placeOf(handle);
        if (place == nullptr)
            return nullptr;
        vacant.push_back(static_cast<std::uint32_t>(place - places.data()));
        return std::exchange(place->key, nullptr);
    }

private:
    static constexpr unsigned IndexBits = 32;

    struct Place {
        std::shared_ptr<RegistryOpenKey> key;
        std::uint32_t uses = 0;
    };

    Place* placeOf(HKey handle) {
        const std::size_t index = handle & 0xFFFFFFFF;
        if (index >= places.size() || places[index].key == nullptr || handle >> IndexBits != places[index].uses)
            return nullptr;
        return &places[index];
    }

    std::mutex mutex; // guards what follows
    std::vector<Place> places;
    std::vector<std::uint32_t> vacant;
};

OpenKeys& openKeys() {
    static OpenKeys& keys = *new OpenKeys;
    return keys;
}

/// A path below a root, as it is to be opened.
struct Target {
    std::shared_ptr<RegistryOpenKey> key; // not among the open keys
    std::vector<std::u16string_view> names;
    std::size_t namesOfRoot = 0; // that stand in its path and not among the names
};

std::int32_t aim(HKey root, std::u16string_view path, std::uint32_t access, Target& target) {
    target.key = std::make_shared<RegistryOpenKey>();
    target.key->access = access;
    target.key->hive = RegistryHive::of(root);
    if (target.key->hive == nullptr) {
        const auto parent = openKeys().find(root);
        if (parent == nullptr)
            return refuse(InvalidHandle);
        target.key->hive = parent->hive;
        target.key->path = parent->path;
    }
    std::vector<RegistryPathElement> elements;
    if (const std::int32_t result = splitRegistryPath(path, elements); result != NoError)
        return refuse(result);
    std::string& whole = target.key->path;
    std::size_t depth = elements.size() + (whole.empty() ? 0u : 1u);
    for (const char character : whole)
        depth += character == '\\' ? 1 : 0;
    if (depth > MostKeyDepth)
        return refuse(InvalidParameter);
    target.namesOfRoot = depth - elements.size();
    for (const RegistryPathElement& element : elements) {
        whole.append(whole.empty() ? "" : "\\").append(element.folded);
        target.names.push_back(element.name);
    }
    return NoError;
}

/// The key of a handle that was opened for what is asked.
std::int32_t keyFor(HKey handle, std::uint32_t right, std::shared_ptr<RegistryOpenKey>& key) {
    key = openKeys().find(handle);
    if (key == nullptr)
        return refuse(InvalidHandle);
    return (key->access & right) == right ? std::int32_t{NoError} : refuse(AccessDenied);
}

template <class Step>
std::int32_t withKey(HKey handle, std::uint32_t right, const Step& step) {
    std::shared_ptr<RegistryOpenKey> key;
    const std::int32_t result = keyFor(handle, right, key);
    return result == NoError ? step(*key) : result;
}

template <class Step>
std::int32_t withValue(HKey handle, std::uint32_t right, std::u16string_view name, const Step& step) {
    if (const std::int32_t result = checkRegistryValueName(name); result != NoError)
        return refuse(result);
    return withKey(handle, right, step);
}

} // namespace

std::shared_ptr<RegistryOpenKey> registryOpenKey(HKey handle) { return openKeys().find(handle); }

std::int32_t createRegistryKey(HKey root, std::u16string_view path, std::uint32_t access, HKey& key, bool& existed) {
    Target target;
    std::int32_t result = aim(root, path, access, target);
    if (result == NoError)
        result = target.key->hive->create(*target.key, target.names, existed);
    if (result == NoError)
        key = openKeys().add(std::move(target.key));
    return result;
}

std::int32_t openRegistryKey(HKey root, std::u16string_view path, std::uint32_t access, HKey& key) {
    Target target;
    std::int32_t result = aim(root, path, access, target);
    if (result == NoError)
        result = target.key->hive->open(*target.key);
    if (result == NoError)
        key = openKeys().add(std::move(target.key));
    return result;
}

void closeRegistryKey(HKey key) noexcept {
    const CancellationShield shield;
    if (const auto closed = openKeys().remove(key); closed != nullptr)
        endRegistryNotification(closed);
}

std::int32_t deleteRegistryTree(HKey root, std::u16string_view path) {
    Target target;
    const std::int32_t result = aim(root, path, 0, target);
    if (result != NoError)
        return result;
    return target.key->path.empty() ? refuse(AccessDenied) : target.key->hive->removeTree(target.key->path);
}

std::int32_t getRegistryValue(HKey key, std::u16string_view name, RegistryValue& value) {
    return withValue(key, KEY_QUERY_VALUE, name,
                     [&](RegistryOpenKey& open) { return open.hive->getValue(open, name, value); });
}

std::int32_t setRegistryValue(HKey key, std::u16string_view name, std::uint32_t type, std::string_view bytes) {
    if (bytes.size() > MostValueBytes)
        return refuse(InvalidParameter);
    return withValue(key, KEY_SET_VALUE, name,
                     [&](RegistryOpenKey& open) { return open.hive->setValue(open, name, type, bytes); });
}

std::int32_t deleteRegistryValue(HKey key, std::u16string_view name) {
    return withValue(key, KEY_SET_VALUE, name,
                     [&](RegistryOpenKey& open) { return open.hive->removeValue(open, name); });
}

std::int32_t listRegistryKeys(HKey key, std::vector<std::u16string>& names) {
    return withKey(key, KEY_ENUMERATE_SUB_KEYS,
                   [&](RegistryOpenKey& open) { return open.hive->listKeys(open, names); });
}

std::int32_t listRegistryValues(HKey key, std::vector<RegistryEntry>& entries) {
    return withKey(key, KEY_QUERY_VALUE, [&](RegistryOpenKey& open) { return open.hive->listValues(open, entries); });
}

void closeRegistryHives() noexcept { RegistryHive::closeAll(); }

} // namespace norq_std_internal::platform
