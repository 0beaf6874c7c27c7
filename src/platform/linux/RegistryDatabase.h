#pragma once

#include "platform/linux/Descriptor.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include <sys/types.h>

struct sqlite3;
struct sqlite3_stmt;

namespace norq_std_internal::platform {

/// Where a hive lies, and who may have it.
struct RegistryPlace {
    std::string folder;
    std::string name; ///< of the database; what stands beside it begins with this
    mode_t folderMode = 0;
    mode_t fileMode = 0;

    std::string path() const { return folder + '/' + name; }
    std::string beside(const char* suffix) const { return path() + suffix; }
    bool operator==(const RegistryPlace&) const = default;
};

/// What names a file beyond its number, which is given again when the file has gone.
struct RegistryFileIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t birth = 0;

    bool operator==(const RegistryFileIdentity&) const = default;
};

/// What is put beside the database for those that watch it: for each key a place to write a new stamp to, after a
/// commit. Keys share places; the last one stands for all keys.
namespace registry_stamps {

constexpr const char* Suffix = "-changes";
constexpr std::size_t HeaderBytes = 64;
constexpr std::size_t Places = 4096;

using Stamps = std::array<std::uint64_t, Places + 1>;

constexpr std::size_t placeOf(std::int64_t key) { return static_cast<std::uint64_t>(key) % Places; }

} // namespace registry_stamps

/// The statements of the store, kept prepared.
enum class RegistrySql : std::uint8_t {
    Begin,
    Commit,
    Rollback,
    FindKey,
    KeyExists,
    MakeKey,
    RemoveKey,
    TreeOfKey,
    ListKeys,
    GetValue,
    PutValue,
    RemoveValue,
    RemoveValues,
    ListValues,
    Count
};

/// One connection to the database of a hive. It belongs to the process that made it, and to one thread at a time.
class RegistryDatabase {
public:
    static constexpr std::int64_t RootKey = 1;

    /// Opens what lies at the place. The number of an error, with `registryFailure`; FileNotFound only where there has
    /// never been a hive, as far as anyone can tell.
    static std::int32_t open(const RegistryPlace& place, std::unique_ptr<RegistryDatabase>& database);
    /// Puts an empty hive there, whole or not at all, unless one is there already.
    static std::int32_t make(const RegistryPlace& place);

    ~RegistryDatabase();
    RegistryDatabase(const RegistryDatabase&) = delete;
    RegistryDatabase& operator=(const RegistryDatabase&) = delete;

    /// Whether it is still the file that has the path. `lately` is content with what was so less than a millisecond
    /// ago.
    bool isCurrent(bool lately);
    const RegistryFileIdentity& fileIdentity() const { return identity; }

    /// Whether something failed that a new connection may not find.
    bool isBroken() const { return broken; }

    bool isInTransaction() const;

    /// 0, or why nobody may write through this connection.
    std::int32_t writeRefusal() const { return refusal; }

    /// A number that no key has ever had, though the file may have been set back to a state in which numbers that were
    /// given since are unknown. Each connection counts from a random one of 62 bits.
    std::int64_t numberOfNewKey() noexcept;

    /// Tells those that watch that these keys have changed. Never fails: they find out in any case, only later.
    void announce(std::span<const std::int64_t> keys) noexcept;

    /// Whether nobody, in any process, has committed since the last `look`, as far as that can be told without a
    /// transaction.
    bool sameSinceLastLook() noexcept;
    void look() noexcept;
    /// The same behind a commit of this connection, if there was no other since the last look.
    bool lookBehindOneCommit() noexcept;

private:
    friend class RegistryQuery;
    struct Pair;

    RegistryDatabase() = default;

    std::int32_t connect(const RegistryPlace& place, bool immutable);
    std::int32_t settle();
    std::int32_t checkSchema();
    std::int32_t openAny(const RegistryPlace& place);
    std::int32_t openForWriting(const RegistryPlace& place);
    std::int32_t failure(int result);
    void disconnect() noexcept;

    sqlite3* connection = nullptr;
    std::array<sqlite3_stmt*, static_cast<std::size_t>(RegistrySql::Count)> statements{};
    Descriptor file; // by its path alone: closing it must not drop the locks that SQLite holds on the file
    Descriptor stamps;
    std::string path;
    RegistryFileIdentity identity;
    dev_t device = 0; // as `stat` has it
    ino_t inode = 0;
    std::int64_t lastNewKey = 0;
    std::chrono::steady_clock::time_point lastCheck;
    std::int32_t refusal = 0;
    bool immutable = false;
    bool broken = false;

    static constexpr std::size_t LogStateBytes = 48;
    const volatile void* logState = nullptr; // the index of the write-ahead log, as all processes share it
    std::array<unsigned char, LogStateBytes> lastLogState{};
};

/// One run of a statement, which ends with the scope. Texts are not copied: they live as long as it does.
class RegistryQuery {
public:
    RegistryQuery(RegistryDatabase& owner, RegistrySql sql);
    ~RegistryQuery();
    RegistryQuery(const RegistryQuery&) = delete;
    RegistryQuery& operator=(const RegistryQuery&) = delete;

    RegistryQuery& bind(std::int64_t number);
    RegistryQuery& bind(std::string_view text);
    RegistryQuery& bindBytes(std::string_view bytes);

    /// Goes to the next row; false at the end, and on an error, which `error` tells.
    bool next();
    /// Runs a statement without rows.
    std::int32_t run() {
        next();
        return error;
    }
    /// Rows that this statement has changed.
    int changes() const;

    enum class Form : std::uint8_t { Text, Number, Bytes };
    Form form(int column) const;
    std::int64_t number(int column) const;
    std::string_view text(int column) const;

    std::int32_t error = 0;

private:
    RegistryDatabase& database;
    sqlite3_stmt*& statement;
    int bound = 0;
};

/// Writes nothing unless it is committed.
class RegistryTransaction {
public:
    explicit RegistryTransaction(RegistryDatabase& owner)
        : database(owner)
        , error(RegistryQuery(owner, RegistrySql::Begin).run()) {}
    ~RegistryTransaction() {
        if (error == 0 && !done && database.isInTransaction()) // some failures have ended it
            RegistryQuery(database, RegistrySql::Rollback).run();
    }
    RegistryTransaction(const RegistryTransaction&) = delete;
    RegistryTransaction& operator=(const RegistryTransaction&) = delete;

    std::int32_t beginning() const { return error; }
    std::int32_t commit() {
        const std::int32_t result = RegistryQuery(database, RegistrySql::Commit).run();
        done = result == 0;
        return result;
    }

private:
    RegistryDatabase& database;
    const std::int32_t error;
    bool done = false;
};

/// Notes in words what a failure was, for `registryFailure`, and answers its number.
std::int32_t registryFails(std::int32_t number, std::u16string_view words);
std::int32_t registryFails(std::int32_t number, const std::string& words);

} // namespace norq_std_internal::platform
