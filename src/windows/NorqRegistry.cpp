#include "windows/NorqRegistry.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "base/WideChar.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "internal/NumberText.h"
#include "log/NorqLoggerSTD.h"
#include "platform/Error.h"
#include "platform/Registry.h"
#include "windows/AutoCloseRegistry.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

namespace norq_std {

namespace platform = norq_std_internal::platform;
using norq_std_internal::numberText;

namespace {

constexpr std::size_t NameUnits = 80;
constexpr std::size_t ValueBytes = 16386;
constexpr std::size_t BytesOfAnyText = 3;
constexpr const WChar* NameLabel = u"Registry key";

WString textOf(const platform::RegistryValue& value) {
    WString text(value.bytes.size() / sizeof(WChar), u'\0');
    std::memcpy(text.data(), value.bytes.data(), text.size() * sizeof(WChar));
    text.resize(std::min(text.find(u'\0'), text.size()));
    return text;
}

std::int32_t numberOf(const platform::RegistryValue& value) {
    std::int32_t number = 0;
    std::memcpy(&number, value.bytes.data(), std::min(value.bytes.size(), sizeof number));
    return number;
}

/// As a text stream reads a number: behind white space, and up to what does not belong to it.
bool parse(const WString& text, std::int32_t& number) {
    std::string narrow;
    for (const WChar unit : text) {
        if (narrow.empty() && WideChar::isSpace(unit))
            continue;
        if (!WideChar::isAsciiDigit(unit) && (!narrow.empty() || (unit != u'-' && unit != u'+')))
            break;
        narrow += static_cast<char>(unit);
    }
    const char* const begin = narrow.data() + (narrow.starts_with('+') ? 1 : 0);
    return std::from_chars(begin, narrow.data() + narrow.size(), number).ec == std::errc();
}

/// Queries into a buffer of its size.
std::int32_t query(HKey key, const WString& name, platform::RegistryValue& value) {
    const std::int32_t code = platform::getRegistryValue(key, name, value);
    const std::size_t room = value.type == REG_DWORD ? sizeof(std::int32_t) : ValueBytes;
    return code == platform::NoError && value.bytes.size() > room ? std::int32_t{platform::MoreData} : code;
}

/// Cuts a name as a buffer for it would; whether it had to.
bool cut(WString& name) {
    if (name.size() <= NameUnits)
        return false;
    name.resize(NameUnits);
    return true;
}

void report(const WChar* function, std::int32_t code, const WString& description) {
    if (code == platform::NoError)
        return;
    if (const WString words = platform::registryFailure(); !words.empty() && code != platform::MoreData)
        NORQ_LOG(DEBUG, u"norq_std::NorqRegistry", u"%ls", words.c_str());
    NorqRegistry::convertWinErrToException(function, code, description);
}

[[noreturn]] void rejectType(const WChar* function, const WString& name) {
    NorqLoggerSTD::getInstance().STD3001(function, name.c_str());
    throw NorqObjectNotFoundException(u"Registry key <" + name + u"> is not of REG_SZ or REG_DWORD type.");
}

} // namespace

/// Closes the key when nobody has it open any more.
class NorqRegistry::OpenKey {
public:
    explicit OpenKey(HKey opened)
        : handle(opened) {}
    ~OpenKey() { platform::closeRegistryKey(handle); }
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;

    const HKey handle;
};

NorqRegistry::NorqRegistry() = default;

NorqRegistry::NorqRegistry(const NorqRegistry& other)
    : Object(other) {
    const AutoLock guard(other.lock);
    openedKey = other.openedKey;
    path = other.path;
}

NorqRegistry& NorqRegistry::operator=(const NorqRegistry& other) {
    const NorqRegistry copy(other); // so that the two locks are never held together
    const AutoLock guard(lock);
    openedKey = copy.openedKey;
    path = copy.path;
    return *this;
}

NorqRegistry::~NorqRegistry() = default;

void NorqRegistry::createKey(bool& alreadyExists, HKey root, const WString& newPath, std::uint32_t access,
                             std::uint32_t options) {
    constexpr const WChar* Function = u"norq_std::NorqRegistry::createKey";
    NORQ_LOG_FUNCTION_CALL(Function);
    checkHKeyArg(Function, root);
    const AutoLock guard(lock);
    HKey key = 0;
    const std::int32_t code = options != 0 ? std::int32_t{platform::InvalidParameter}
                                           : platform::createRegistryKey(root, newPath, access, key, alreadyExists);
    report(Function, code, u"Create registry key <" + newPath + u">.");
    openedKey = std::make_shared<const OpenKey>(key);
    path = newPath;
}

void NorqRegistry::openKey(HKey root, const WString& newPath, std::uint32_t access) {
    constexpr const WChar* Function = u"norq_std::NorqRegistry::openKey";
    NORQ_LOG_FUNCTION_CALL(Function);
    checkHKeyArg(Function, root);
    const AutoLock guard(lock);
    HKey key = 0;
    const std::int32_t code = platform::openRegistryKey(root, newPath, access, key);
    if (code != platform::NoError)
        report(Function, code, u"Open registry key <" + newPath + u">.");
    openedKey = std::make_shared<const OpenKey>(key);
    path = newPath;
}

void NorqRegistry::closeKey() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqRegistry::closeKey");
    const AutoLock guard(lock);
    openedKey.reset();
}

bool NorqRegistry::isHandleOpen() const {
    const AutoLock guard(lock);
    return openedKey != nullptr;
}

WString NorqRegistry::getPath() const {
    const AutoLock guard(lock);
    return path;
}

HKey NorqRegistry::getHandle() const {
    const AutoLock guard(lock);
    return openedKey == nullptr ? 0 : openedKey->handle;
}

WString NorqRegistry::getStrValue(const WString& name) const {
    constexpr const WChar* Function = u"norq_std::NorqRegistry::getStrValue";
    NORQ_LOG_FUNCTION_CALL(Function);
    ErrorUtils::isEmptyEx(name, Function, NameLabel);
    const AutoLock guard(lock);
    assertHandleIsOpen(Function);
    platform::RegistryValue value;
    if (const std::int32_t code = query(openedKey->handle, name, value); code != platform::NoError)
        report(Function, code, u"Get registry key <" + name + u"> under path <" + path + u">.");
    if (value.type == REG_SZ)
        return textOf(value);
    if (value.type == REG_DWORD)
        return numberText(numberOf(value));
    rejectType(Function, name);
}

void NorqRegistry::setStrValue(const WString& name, const WString& text) {
    constexpr const WChar* Function = u"norq_std::NorqRegistry::setStrValue";
    NORQ_LOG_FUNCTION_CALL(Function);
    ErrorUtils::isEmptyEx(name, Function, NameLabel);
    const AutoLock guard(lock);
    assertHandleIsOpen(Function);
    const std::size_t units = std::min(text.find(u'\0'), text.size()) + 1;
    const std::string_view bytes(reinterpret_cast<const char*>(text.c_str()), units * sizeof(WChar));
    if (const std::int32_t code = platform::setRegistryValue(openedKey->handle, name, REG_SZ, bytes);
        code != platform::NoError)
        report(Function, code,
               u"Set registry key <" + name + u"> to value <" + text + u"> under path <" + path + u">.");
}

std::int32_t NorqRegistry::getIntValue(const WString& name, std::int32_t defaultValue) const {
    constexpr const WChar* Function = u"norq_std::NorqRegistry::getIntValue";
    NORQ_LOG_FUNCTION_CALL(Function);
    ErrorUtils::isEmptyEx(name, Function, NameLabel);
    const AutoLock guard(lock);
    assertHandleIsOpen(Function);
    platform::RegistryValue value;
    if (const std::int32_t code = query(openedKey->handle, name, value); code != platform::NoError)
        report(Function, code, u"Get registry key <" + name + u"> under path <" + path + u">.");
    if (value.type == REG_DWORD)
        return numberOf(value);
    if (value.type != REG_SZ)
        rejectType(Function, name);
    std::int32_t number = 0;
    return parse(textOf(value), number) ? number : defaultValue;
}

void NorqRegistry::setIntValue(const WString& name, std::int32_t value) {
    constexpr const WChar* Function = u"norq_std::NorqRegistry::setIntValue";
    NORQ_LOG_FUNCTION_CALL(Function);
    ErrorUtils::isEmptyEx(name, Function, NameLabel);
    const AutoLock guard(lock);
    assertHandleIsOpen(Function);
    const std::string_view bytes(reinterpret_cast<const char*>(&value), sizeof value);
    if (const std::int32_t code = platform::setRegistryValue(openedKey->handle, name, REG_DWORD, bytes);
        code != platform::NoError)
        report(Function, code,
               u"Set registry key <" + name + u"> to value <" + numberText(value) + u"> under path <" + path + u">.");
}

void NorqRegistry::deleteValue(const WString& name) {
    constexpr const WChar* Function = u"norq_std::NorqRegistry::deleteValue";
    NORQ_LOG_FUNCTION_CALL(Function);
    ErrorUtils::isEmptyEx(name, Function, NameLabel);
    const AutoLock guard(lock);
    assertHandleIsOpen(Function);
    report(Function, platform::deleteRegistryValue(openedKey->handle, name),
           u"Delete registry key <" + name + u"> value under path <" + path + u">.");
}

void NorqRegistry::deleteKey(HKey root, const WString& keyPath) {
    constexpr const WChar* Function = u"norq_std::NorqRegistry::deleteKey";
    NORQ_LOG_FUNCTION_CALL(Function);
    checkHKeyArg(Function, root);
    ErrorUtils::isEmptyEx(keyPath, Function, NameLabel);
    const AutoLock guard(lock);
    report(Function, platform::deleteRegistryTree(root, keyPath), u"Delete registry key <" + keyPath + u">.");
}

std::vector<WString> NorqRegistry::getKeys() const {
    constexpr const WChar* Function = u"norq_std::NorqRegistry::getKeys";
    NORQ_LOG_FUNCTION_CALL(Function);
    const AutoLock guard(lock);
    assertHandleIsOpen(Function);
    std::vector<WString> names;
    report(Function, platform::listRegistryKeys(openedKey->handle, names), u"Get keys under <" + path + u">.");
    for (WString& name : names)
        if (cut(name))
            NORQ_LOG(DEBUG, Function, u"Truncated name.");
    return names;
}

std::vector<WString> NorqRegistry::getKeysWithValue() const {
    constexpr const WChar* Function = u"norq_std::NorqRegistry::getKeysWithValue";
    NORQ_LOG_FUNCTION_CALL(Function);
    const AutoLock guard(lock);
    assertHandleIsOpen(Function);
    std::vector<platform::RegistryEntry> entries;
    report(Function, platform::listRegistryValues(openedKey->handle, entries),
           u"Get keys with values under <" + path + u">.");
    std::vector<WString> names;
    for (platform::RegistryEntry& entry : entries) {
        if (cut(entry.name) || entry.value.bytes.size() > ValueBytes)
            NORQ_LOG(DEBUG, Function, u"Truncated name or value.");
        if (entry.value.bytes.size() < (entry.value.type == REG_SZ ? BytesOfAnyText : 1))
            NORQ_LOG(DEBUG, Function, u"Key <%ls> has no value.", entry.name.c_str());
        else
            names.push_back(std::move(entry.name));
    }
    return names;
}

std::vector<NorqRegistry::KeyValue> NorqRegistry::getKeyValues() const {
    constexpr const WChar* Function = u"norq_std::NorqRegistry::getKeyValues";
    NORQ_LOG_FUNCTION_CALL(Function);
    const AutoLock guard(lock);
    assertHandleIsOpen(Function);
    std::vector<platform::RegistryEntry> entries;
    report(Function, platform::listRegistryValues(openedKey->handle, entries),
           u"Get keys with values under <" + path + u">.");
    std::vector<KeyValue> values;
    values.reserve(entries.size());
    for (platform::RegistryEntry& entry : entries) {
        const bool isLong = entry.value.bytes.size() > ValueBytes;
        if (cut(entry.name) || isLong)
            NORQ_LOG(DEBUG, Function, u"Truncated name or value.");
        if (isLong)
            entry.value.bytes.resize(ValueBytes);
        WString text;
        if (entry.value.type == REG_SZ && entry.value.bytes.size() >= BytesOfAnyText)
            text = textOf(entry.value).substr(0, ValueBytes / sizeof(WChar) - 1);
        else if (entry.value.type == REG_DWORD)
            text = numberText(numberOf(entry.value));
        values.emplace_back(std::move(entry.name), std::move(text));
    }
    return values;
}

void NorqRegistry::convertWinErrToException(const WChar* function, std::int32_t code, const WString& description) {
    if (code == platform::NoError)
        return;
    const WString systemText = ErrorUtils::getErrorDescription(code);
    const auto labelled = [&](const WChar* label) {
        NorqLoggerSTD::getInstance().STD3000(function, description.c_str(), label, systemText.c_str());
        return description + u" " + label + u": <" + systemText + u">.";
    };
    switch (code) {
    case 2:
    case 3:
        throw NorqObjectNotFoundException(labelled(u"Object not found"), code);
    case 5:
    case 12:
    case 19:
        throw NorqAccessException(labelled(u"Access denied"), code);
    case 6:
    case 87:
    case 160:
    case 161:
        throw NorqIllegalArgumentException(labelled(u"Invalid argument"), code);
    case 234:
        throw NorqException(labelled(u"More data is available than can fit in buffer"), code);
    case 1018:
        throw NorqIllegalStateException(labelled(u"Illegal state"), code);
    default:
        throw NorqUnknownException(labelled(u"Unknown error"), code);
    }
}

void NorqRegistry::checkHKeyArg(const WChar* function, HKey root) {
    if (root != 0)
        return;
    NORQ_LOG(DEBUG, u"norq_std::NorqRegistry::checkHKeyArg", u"%ls: Registry handle is NULL.", function);
    throw NorqIllegalArgumentException(u"Registry handle is NULL.");
}

void NorqRegistry::assertHandleIsOpen(const WChar* function) const {
    if (isHandleOpen())
        return;
    NORQ_LOG(DEBUG, u"norq_std::NorqRegistry::assertHandleIsOpen", u"%ls: Parent registry key is not open.", function);
    throw NorqIllegalStateException(u"Parent registry key is not open.");
}

WString NorqRegistry::toString() const {
    const AutoLock guard(lock);
    return u"NorqRegistry{registryHandle=" + numberText(openedKey == nullptr ? 0 : openedKey->handle) + u",path='" +
           path + u"'}";
}

// ---- the scope

AutoCloseRegistry::AutoCloseRegistry(NorqRegistry& registryObject, HKey root, const WString& path, std::uint32_t access)
    : registry(registryObject) {
    registry.openKey(root, path, access);
}

AutoCloseRegistry::~AutoCloseRegistry() { registry.closeKey(); }

} // namespace norq_std
