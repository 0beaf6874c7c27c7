#pragma once

#include "support/RegistryFolder.h"

#include "platform/Error.h"
#include "platform/Registry.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace norqstd_test {

namespace platform = norq_std_internal::platform;
using norq_std::HKey;

inline constexpr HKey User = norq_std::HKEY_CURRENT_USER;
inline constexpr HKey Machine = norq_std::HKEY_LOCAL_MACHINE;
inline constexpr std::uint32_t ReadAndWrite = norq_std::KEY_READ | norq_std::KEY_WRITE;

/// A key of the store, made if it is not there; what fails is found in `error`.
class StoreKey {
public:
    explicit StoreKey(std::u16string_view path, HKey root = User, std::uint32_t access = ReadAndWrite)
        : error((access & norq_std::KEY_SET_VALUE) != 0
                    ? platform::createRegistryKey(root, path, access, handle, existed)
                    : platform::openRegistryKey(root, path, access, handle)) {}
    ~StoreKey() { platform::closeRegistryKey(handle); }
    StoreKey(const StoreKey&) = delete;
    StoreKey& operator=(const StoreKey&) = delete;

    std::int32_t set(std::u16string_view name, const std::u16string& text) const {
        const std::string_view bytes(reinterpret_cast<const char*>(text.c_str()), (text.size() + 1) * sizeof(char16_t));
        return platform::setRegistryValue(handle, name, norq_std::REG_SZ, bytes);
    }
    /// The text; "error N" in the place of a failure.
    std::u16string get(std::u16string_view name) const {
        platform::RegistryValue value;
        if (const std::int32_t failed = platform::getRegistryValue(handle, name, value); failed != 0) {
            const std::string number = std::to_string(failed);
            return u"error " + std::u16string(number.begin(), number.end());
        }
        std::u16string text(value.bytes.size() / sizeof(char16_t), u'\0');
        std::memcpy(text.data(), value.bytes.data(), text.size() * sizeof(char16_t));
        return text.substr(0, text.find(u'\0'));
    }

    HKey handle = 0;
    bool existed = false;
    std::int32_t error;
};

/// Does something to a database as a tool would that knows nothing of the library.
inline void byHand(const std::filesystem::path& database, const std::string& sql) {
    sqlite3* connection = nullptr;
    char* failure = nullptr;
    ASSERT_EQ(sqlite3_open(database.c_str(), &connection), SQLITE_OK);
    sqlite3_busy_timeout(connection, 10000);
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, &failure), SQLITE_OK) << failure;
    sqlite3_free(failure);
    sqlite3_close(connection);
}

} // namespace norqstd_test
