#pragma once

#include "base/Object.h"
#include "concurrency/Lock.h"
#include "windows/Registry.h"

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace norq_std {

/// One key of the registry: opened or created, read, written, and closed.
///
/// The registry is the store of docs/registry.md, which all processes of the machine share: what one has written the
/// others see from then on, and it is still there after any of them has ended in any way.
///
/// A copy has the same key open. The key is closed when the last object that has it open closes it, opens another key,
/// or dies. Operations on values and subkeys throw `NorqIllegalStateException` while no key is open, and
/// `NorqIllegalArgumentException` for an empty name; what the store refuses becomes the exception that
/// `convertWinErrToException` tells.
///
/// Value names have up to 80 characters and texts up to 8192: longer ones can be written, but reading them back fails.
///
/// Any thread may call; each operation is done under the lock of the object. Several operations that belong together,
/// such as an opening and what is read then, need the exclusion of the callers.
class NORQSTD_EXPORT NorqRegistry : public Object {
public:
    using KeyValue = std::pair<WString, WString>;

    NorqRegistry();
    NorqRegistry(const NorqRegistry& other);
    NorqRegistry& operator=(const NorqRegistry& other);
    ~NorqRegistry() override;

    /// Opens a key that is made, with all that are missing on its path, if it is not there. `alreadyExists` tells
    /// which. No options are known: 0.
    void createKey(bool& alreadyExists, HKey root, const WString& newPath, std::uint32_t access, std::uint32_t options);
    void openKey(HKey root, const WString& newPath, std::uint32_t access);
    /// Does nothing if no key is open.
    void closeKey();
    bool isHandleOpen() const;
    /// The path given at the last opening that succeeded.
    WString getPath() const;

    /// A text as it stands, a number in decimal. Throws `NorqObjectNotFoundException` for a value of another type.
    WString getStrValue(const WString& name) const;
    void setStrValue(const WString& name, const WString& text);
    /// A number as it stands, a text as the number that it begins with, else the default. A value that is missing or
    /// of another type throws `NorqObjectNotFoundException`.
    std::int32_t getIntValue(const WString& name, std::int32_t defaultValue) const;
    void setIntValue(const WString& name, std::int32_t value);
    void deleteValue(const WString& name);
    /// Removes a key with all that lies below it. Needs no open key; keys that are open there become useless.
    void deleteKey(HKey root, const WString& keyPath);

    /// The names of the keys directly below.
    std::vector<WString> getKeys() const;
    /// The names of the values that are not empty.
    std::vector<WString> getKeysWithValue() const;
    /// All values with their texts, which are empty for what is neither text nor number.
    std::vector<KeyValue> getKeyValues() const;

    /// Does nothing for 0. For any other number of the system reports STD3000 and throws the exception that stands for
    /// it, with the description and the system's text.
    static void convertWinErrToException(const WChar* function, std::int32_t code, const WString& description);

    WString toString() const override;

protected:
    /// Throws `NorqIllegalArgumentException` for no root.
    static void checkHKeyArg(const WChar* function, HKey root);
    /// Throws `NorqIllegalStateException` while no key is open.
    void assertHandleIsOpen(const WChar* function) const;

    /// The open key, 0 if there is none.
    HKey getHandle() const;

    /// For a class that does several of the operations above as one.
    mutable Lock lock;

private:
    class OpenKey;

    std::shared_ptr<const OpenKey> openedKey; // guarded by the lock
    WString path;                             // guarded by the lock
};

} // namespace norq_std
