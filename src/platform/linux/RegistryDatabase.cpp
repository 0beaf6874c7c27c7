#include "platform/linux/RegistryDatabase.h"

#include "platform/Error.h"
#include "platform/NarrowText.h"
#include "platform/Registry.h"
#include "platform/SystemInfo.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace norq_std_internal::platform {

namespace {

constexpr std::array<const char*, static_cast<std::size_t>(RegistrySql::Count)> Statements{
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "SELECT id FROM key WHERE parent=?1 AND folded=?2",
    "SELECT 1 FROM key WHERE id=?1",
    "INSERT INTO key(id,parent,folded,name) VALUES(?1,?2,?3,?4)",
    "DELETE FROM key WHERE id=?1",
    "WITH RECURSIVE tree(id) AS (VALUES(?1) UNION SELECT key.id FROM key,tree WHERE key.parent=tree.id)"
    " SELECT id FROM tree",
    "SELECT name,id FROM key WHERE parent=?1 AND id<>1 ORDER BY folded",
    "SELECT type,data FROM value WHERE key=?1 AND folded=?2",
    "INSERT INTO value(key,folded,name,changed,type,data) SELECT ?1,?2,?3,?4,?5,?6 WHERE EXISTS(SELECT 1 FROM key"
    " WHERE id=?1) ON CONFLICT(key,folded) DO UPDATE SET changed=excluded.changed,type=excluded.type,"
    "data=excluded.data",
    "DELETE FROM value WHERE key=?1 AND folded=?2",
    "DELETE FROM value WHERE key=?1",
    "SELECT name,changed,type,data FROM value WHERE key=?1 ORDER BY folded",
};

thread_local std::u16string lastFailure;

std::uint64_t randomNumber() {
    std::uint64_t number = 0;
    if (::getrandom(&number, sizeof number, 0) != sizeof number)
        sqlite3_randomness(sizeof number, &number);
    return number;
}

} // namespace

std::int32_t registryFails(std::int32_t number, std::u16string_view words) {
    lastFailure = words;
    setLastError(number);
    return number;
}

std::int32_t registryFails(std::int32_t number, const std::string& words) {
    return registryFails(number, toWide(words));
}

std::u16string registryFailure() { return lastFailure; }

// ---- the connection

RegistryDatabase::~RegistryDatabase() { disconnect(); }

void RegistryDatabase::disconnect() noexcept {
    for (sqlite3_stmt*& statement : statements)
        sqlite3_finalize(std::exchange(statement, nullptr));
    sqlite3_close(std::exchange(connection, nullptr));
    logState = nullptr;
}

std::int32_t RegistryDatabase::failure(int result) {
    const std::string words = path + ": " + (connection == nullptr ? "out of memory" : sqlite3_errmsg(connection));
    const int native = connection == nullptr ? 0 : sqlite3_system_errno(connection);
    const auto fromSystem = [&](std::int32_t otherwise) { return native == 0 ? otherwise : errorFromNative(native); };
    const int primary = result & 0xFF;
    broken = primary != SQLITE_BUSY && primary != SQLITE_LOCKED && primary != SQLITE_PROTOCOL;
    switch (primary) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
        return registryFails(Busy, words);
    case SQLITE_READONLY:
        if (result == SQLITE_READONLY_DBMOVED) // another is there now
            return registryFails(Busy, words);
        return registryFails(refusal == NoError ? std::int32_t{WriteProtected} : refusal, words);
    case SQLITE_PERM:
    case SQLITE_AUTH:
        return registryFails(AccessDenied, words);
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_FORMAT:
        return registryFails(RegistryDamaged, words);
    case SQLITE_TOOBIG:
        return registryFails(InvalidData, words);
    case SQLITE_FULL:
        return registryFails(DiskFull, words);
    case SQLITE_NOMEM:
        return registryFails(NotEnoughMemory, words);
    case SQLITE_IOERR:
        return registryFails(fromSystem(IoFailed), words);
    case SQLITE_CANTOPEN:
        return registryFails(fromSystem(AccessDenied), words);
    default:
        return registryFails(GeneralFailure, words);
    }
}

bool RegistryDatabase::isInTransaction() const { return sqlite3_get_autocommit(connection) == 0; }

bool RegistryDatabase::isCurrent(bool lately) {
    if (immutable)
        return false;
    const auto now = std::chrono::steady_clock::now();
    if (lately && now - lastCheck < std::chrono::milliseconds(1))
        return true;
    lastCheck = now;
    struct stat found {}; // no other file can have the number as long as this one is open
    return ::stat(path.c_str(), &found) == 0 && found.st_dev == device && found.st_ino == inode;
}

bool RegistryDatabase::sameSinceLastLook() noexcept {
    if (logState == nullptr)
        return false;
    const auto* now = static_cast<const volatile unsigned char*>(logState);
    for (std::size_t i = 0; i < LogStateBytes; ++i)
        if (now[i] != lastLogState[i])
            return false;
    return true;
}

void RegistryDatabase::look() noexcept {
    const auto* now = static_cast<const volatile unsigned char*>(logState);
    for (std::size_t i = 0; now != nullptr && i < LogStateBytes; ++i)
        lastLogState[i] = now[i];
    std::atomic_thread_fence(std::memory_order_acquire);
}

bool RegistryDatabase::lookBehindOneCommit() noexcept {
    constexpr std::size_t CommitCounter = 8; // where the index has it
    const auto counter = [this] {
        std::uint32_t count = 0;
        std::memcpy(&count, lastLogState.data() + CommitCounter, sizeof count);
        return count;
    };
    if (logState == nullptr)
        return false;
    const std::uint32_t before = counter();
    look();
    return counter() == before + 1;
}

std::int64_t RegistryDatabase::numberOfNewKey() noexcept {
    constexpr std::uint64_t Range = std::uint64_t{1} << 62; // of what a connection begins with
    if (lastNewKey == 0)
        lastNewKey = static_cast<std::int64_t>(RootKey + 1 + randomNumber() % Range);
    return ++lastNewKey;
}

void RegistryDatabase::announce(std::span<const std::int64_t> keys) noexcept {
    using namespace registry_stamps;
    constexpr std::size_t ManyKeys = 64;
    // Unlike any other, of any process: a place that changes twice must not look as it did before.
    static std::atomic<std::uint64_t> next = randomNumber();
    const auto put = [&](std::size_t place) {
        const std::uint64_t stamp = next.fetch_add(0x9E3779B97F4A7C15, std::memory_order_relaxed);
        return ::pwrite(stamps.get(), &stamp, sizeof stamp, static_cast<off_t>(HeaderBytes + place * sizeof stamp)) > 0;
    };
    if (!stamps.valid())
        return;
    if (keys.size() > ManyKeys) {
        put(Places);
        return;
    }
    for (const std::int64_t key : keys)
        if (!put(placeOf(key)))
            return;
}

// ---- statements

RegistryQuery::RegistryQuery(RegistryDatabase& owner, RegistrySql sql)
    : database(owner)
    , statement(owner.statements[static_cast<std::size_t>(sql)]) {
    if (statement != nullptr)
        return;
    const int result = sqlite3_prepare_v3(database.connection, Statements[static_cast<std::size_t>(sql)], -1,
                                          SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    if (result != SQLITE_OK)
        error = database.failure(result);
}

RegistryQuery::~RegistryQuery() { sqlite3_reset(statement); }

RegistryQuery& RegistryQuery::bind(std::int64_t number) {
    sqlite3_bind_int64(statement, ++bound, number);
    return *this;
}

RegistryQuery& RegistryQuery::bind(std::string_view text) {
    sqlite3_bind_text64(statement, ++bound, text.data() == nullptr ? "" : text.data(), text.size(), SQLITE_STATIC,
                        SQLITE_UTF8);
    return *this;
}

RegistryQuery& RegistryQuery::bindBytes(std::string_view bytes) {
    sqlite3_bind_blob64(statement, ++bound, bytes.empty() ? "" : bytes.data(), bytes.size(), SQLITE_STATIC);
    return *this;
}

bool RegistryQuery::next() {
    if (error != 0)
        return false;
    const int result = sqlite3_step(statement);
    if (result != SQLITE_ROW && result != SQLITE_DONE)
        error = database.failure(result);
    return result == SQLITE_ROW;
}

int RegistryQuery::changes() const { return sqlite3_changes(database.connection); }

RegistryQuery::Form RegistryQuery::form(int column) const {
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
        return Form::Number;
    case SQLITE_TEXT:
        return Form::Text;
    default:
        return Form::Bytes;
    }
}

std::int64_t RegistryQuery::number(int column) const { return sqlite3_column_int64(statement, column); }

std::string_view RegistryQuery::text(int column) const {
    const void* const bytes = sqlite3_column_blob(statement, column); // the text itself, where it is one
    const int size = sqlite3_column_bytes(statement, column);
    return bytes == nullptr ? std::string_view()
                            : std::string_view(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
}

} // namespace norq_std_internal::platform
