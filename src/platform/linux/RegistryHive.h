#pragma once

#include "platform/Registry.h"
#include "platform/linux/RegistryDatabase.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace norq_std_internal::platform {

class RegistryHive;

/// A key that is open: the path that it was opened under, and the row that it was found at.
struct RegistryOpenKey {
    /// What a key's values, and the keys below it, were when they were last looked at, as a hash.
    struct Seen {
        std::optional<std::uint64_t> values;
        std::optional<std::uint64_t> names;
    };

    std::shared_ptr<RegistryHive> hive;
    std::string path; ///< the folded names with backslashes between them
    std::uint32_t access = 0;

    // guarded by the hive
    std::int64_t id = 0;
    std::uint64_t epoch = 0; // of the hive, when the row was found
    Seen seen;

    std::mutex eventMutex;
    std::shared_ptr<RegistryChange> event; // of the last request; guarded by the mutex above
};

/// One hive in this process: one connection, used under one mutex.
///
/// Numbers of keys are never given again, not even when a file is set back, and a key has one path for life. So a row
/// that was once found for a path is right as long as it is there; and a value that is found below a row proves that
/// the key is there. Only what is not found needs a second look.
class RegistryHive {
public:
    /// The hive of one of the two roots, where the environment puts it at this moment; null for any other number.
    static std::shared_ptr<RegistryHive> of(HKey root);
    /// Closes all connections. The next call on each hive opens it again.
    static void closeAll() noexcept;

    explicit RegistryHive(RegistryPlace hivePlace)
        : place(std::move(hivePlace)) {}

    const RegistryPlace& where() const { return place; }

    std::int32_t open(RegistryOpenKey& key);
    std::int32_t create(RegistryOpenKey& key, const std::vector<std::u16string_view>& names, bool& existed);
    std::int32_t removeTree(const std::string& path);

    std::int32_t getValue(RegistryOpenKey& key, std::u16string_view name, RegistryValue& value);
    std::int32_t setValue(RegistryOpenKey& key, std::u16string_view name, std::uint32_t type, std::string_view bytes);
    std::int32_t removeValue(RegistryOpenKey& key, std::u16string_view name);
    std::int32_t listKeys(RegistryOpenKey& key, std::vector<std::u16string>& names);
    std::int32_t listValues(RegistryOpenKey& key, std::vector<RegistryEntry>& entries);

    /// Whether the key, as far as the filter goes, is what it was when it was last looked at; false at the first look.
    /// KeyDeleted if it has gone. Busy at once if the hive is, for who will come back.
    std::int32_t look(RegistryOpenKey& key, std::uint32_t filter, bool& changed, bool comesBack);
    std::int64_t rowOf(const RegistryOpenKey& key);

private:
    struct Row {
        std::int64_t id;
        std::uint64_t generation; // at which it was last seen
    };
    /// Setting makes a hive where there is none, as Making does. Reading may use a file that was moved away just now.
    enum class For : std::uint8_t { Reading, Setting, Opening, Changing, Making };

    static void beforeFork();
    static void afterFork();

    template <class Step>
    std::int32_t run(For purpose, const Step& step, bool isPatient = true);
    std::int32_t attach(For purpose);
    std::int32_t find(RegistryDatabase* database, const std::string& path, std::int64_t& id);
    std::int32_t walk(RegistryDatabase& database, const std::string& path, std::int64_t& id);
    std::int32_t resolve(RegistryDatabase* database, RegistryOpenKey& key);
    static std::int32_t missing(RegistryDatabase* database, const RegistryOpenKey& key);
    void valuesChanged(RegistryDatabase& database, const RegistryOpenKey& key);
    std::int32_t makeKeys(RegistryDatabase& database, RegistryOpenKey& key,
                          const std::vector<std::u16string_view>& names, bool& existed);

    const RegistryPlace place;
    std::mutex mutex; // guards what follows, and what is said to be guarded by the hive
    std::unique_ptr<RegistryDatabase> database;
    RegistryFileIdentity fileIdentity; // of the last connection
    std::uint64_t epoch = 1;           // counts the files that lay at the place
    std::uint64_t generation = 1;      // counts the states of the file that rows were seen in
    std::unordered_map<std::string, Row> rows;
};

} // namespace norq_std_internal::platform
