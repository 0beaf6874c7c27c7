// How a database comes to be, and how it is opened.
//
// The database is kept with a write-ahead log: readers and writers do not wait for each other, a commit is one write to
// a file, and who may not write can still read. Its price is that three files belong together, and that SQLite pairs
// them by their names alone. If another database is put in the place of the old one while the old one's log lies there,
// the log would be applied to the wrong database. So who opens for writing notes, in the header of the file of stamps,
// which database and which log belonged together. A log that is still the noted one beside a database that is not has
// lost its database, and is removed. All of this, and the making of a database, happens under a lock that only those
// who may write can take.
//
// The log stays when the last connection goes: a process that may not write could not make it, and without it could not
// read.

#include "platform/linux/RegistryDatabase.h"

#include "platform/Error.h"
#include "platform/Registry.h"
#include "platform/SystemInfo.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace norq_std_internal::platform {

namespace {

using namespace std::chrono_literals;

constexpr int ApplicationId = 0x4E515247;
constexpr int SchemaVersion = 1;
constexpr std::string_view KeyTable =
    "CREATE TABLE key(id INTEGER PRIMARY KEY AUTOINCREMENT,parent INTEGER NOT NULL,folded TEXT NOT NULL,"
    "name TEXT NOT NULL,UNIQUE(parent,folded)) STRICT";
constexpr std::string_view ValueTable =
    "CREATE TABLE value(key INTEGER NOT NULL,folded TEXT NOT NULL,name TEXT NOT NULL,changed INTEGER NOT NULL,"
    "type INTEGER NOT NULL,data ANY NOT NULL,PRIMARY KEY(key,folded)) STRICT,WITHOUT ROWID";

constexpr int OpenAttempts = 10;
constexpr auto LockLimit = 10s;
constexpr auto LockPause = 1ms;
constexpr int LargestRecord = 4 * 1024 * 1024;
constexpr int LargestLog = 8 * 1024 * 1024; // what a checkpoint leaves of a log that had to grow

using FileIdentity = RegistryFileIdentity;

/// Of what a descriptor is open on, where there is no path.
bool identityOf(int descriptor, const std::string& path, FileIdentity& identity) {
    struct statx status {};
    const int flags = AT_SYMLINK_NOFOLLOW | (path.empty() ? AT_EMPTY_PATH : 0);
    if (::statx(descriptor, path.c_str(), flags, STATX_INO | STATX_BTIME, &status) != 0)
        return false;
    identity.device = static_cast<std::uint64_t>(status.stx_dev_major) << 32 | status.stx_dev_minor;
    identity.inode = status.stx_ino;
    identity.birth = (status.stx_mask & STATX_BTIME) == 0
                         ? 0
                         : status.stx_btime.tv_sec * 1'000'000'000 + std::int64_t{status.stx_btime.tv_nsec};
    return true;
}

bool exists(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

std::int32_t nativeFailure(const std::string& what) {
    const int native = errno;
    return registryFails(errorFromNative(native), what + ": " + ::strerrordesc_np(native));
}

/// Gives a file of the library's own to those who have the database. Others' files stay as their owners made them.
void giveTo(int descriptor, const struct stat& like, mode_t mode) {
    struct stat now {};
    if (::fstat(descriptor, &now) != 0 || !S_ISREG(now.st_mode) || now.st_nlink != 1)
        return;
    if ((now.st_uid != like.st_uid || now.st_gid != like.st_gid) &&
        ::fchown(descriptor, like.st_uid, like.st_gid) != 0 &&
        ::fchown(descriptor, static_cast<uid_t>(-1), like.st_gid) != 0 && now.st_gid != like.st_gid)
        mode &= 0707; // not for another group
    if ((now.st_mode & 0777) != mode)
        ::fchmod(descriptor, mode);
}

bool isDenied(int native) { return native == EACCES || native == EPERM; }

/// Held while a database is made, or opened for writing. Invalid, with `errno`, if it is not to be had. Who may write
/// the database may take it, and nobody else: even to read it is enough to take it.
Descriptor lockOf(const RegistryPlace& place) {
    Descriptor lock(::open(place.beside("-lock").c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    struct stat database {};
    if (lock.valid() && ::lstat(place.path().c_str(), &database) == 0) {
        const mode_t writers = database.st_mode & 0222;
        giveTo(lock.get(), database, writers | writers << 1);
    }
    const auto limit = std::chrono::steady_clock::now() + LockLimit;
    while (lock.valid() && ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        if ((errno != EWOULDBLOCK && errno != EINTR) || std::chrono::steady_clock::now() > limit)
            return {};
        std::this_thread::sleep_for(LockPause);
    }
    return lock;
}

std::string uriOf(const std::string& path) {
    std::string uri = "file:";
    for (const char character : path) {
        constexpr std::string_view Digits = "0123456789ABCDEF";
        const auto byte = static_cast<unsigned char>(character);
        if (character == '%' || character == '?' || character == '#')
            uri.append({'%', Digits[byte >> 4], Digits[byte & 0xF]});
        else
            uri += character;
    }
    return uri + "?immutable=1";
}

const char* synchronousPragma() {
    std::u16string level;
    environmentVariable(u"NORQSTD_REGISTRY_SYNC", level);
    if (level == u"full")
        return "PRAGMA synchronous=FULL";
    return level == u"off" ? "PRAGMA synchronous=OFF" : "PRAGMA synchronous=NORMAL";
}

/// The first number that a statement gives; -1 if it gives none.
std::int64_t numberOf(sqlite3* connection, const char* sql, int& result) {
    sqlite3_stmt* statement = nullptr;
    std::int64_t number = -1;
    result = sqlite3_prepare_v2(connection, sql, -1, &statement, nullptr);
    if (result == SQLITE_OK) {
        result = sqlite3_step(statement);
        if (result == SQLITE_ROW)
            number = sqlite3_column_int64(statement, 0);
        result = sqlite3_finalize(statement);
    }
    return number;
}

std::int32_t makeFolders(const RegistryPlace& place) {
    for (std::size_t end = place.folder.find('/', 1);; end = place.folder.find('/', end + 1)) {
        const std::string folder = place.folder.substr(0, end);
        if (::mkdir(folder.c_str(), place.folderMode) == 0)
            ::chmod(folder.c_str(), place.folderMode);
        else if (errno != EEXIST && !exists(folder))
            return nativeFailure(folder);
        if (end == place.folder.npos)
            return NoError;
    }
}

} // namespace

/// The header of the file of stamps.
struct RegistryDatabase::Pair {
    static constexpr std::uint64_t Magic = 0x3130'4752'5153'514E;

    std::uint64_t magic = Magic;
    FileIdentity database;
    FileIdentity log;

    static bool read(const RegistryPlace& place, Pair& noted) {
        const Descriptor stamps(
            ::open(place.beside(registry_stamps::Suffix).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
        return stamps.valid() && ::pread(stamps.get(), &noted, sizeof noted, 0) == sizeof noted && noted.magic == Magic;
    }
    static Pair now(const RegistryPlace& place) {
        Pair pair;
        identityOf(AT_FDCWD, place.path(), pair.database);
        identityOf(AT_FDCWD, place.beside("-wal"), pair.log);
        return pair;
    }
    /// Whether the log lies there alone.
    static bool isParted(const RegistryPlace& place) {
        Pair noted;
        const Pair found = now(place);
        return read(place, noted) && found.log != FileIdentity{} && found.log == noted.log &&
               found.database != noted.database;
    }
};

// ---- making

std::int32_t RegistryDatabase::make(const RegistryPlace& place) {
    if (const std::int32_t failed = makeFolders(place); failed != NoError)
        return failed;
    const Descriptor lock = lockOf(place);
    if (!lock.valid())
        return nativeFailure(place.beside("-lock"));
    if (exists(place.path()))
        return NoError;
    const std::string path = place.beside("-new"); // what a process left that was ended in here
    for (const char* suffix : {"", "-wal", "-shm", "-journal"})
        ::unlink((path + suffix).c_str());
    {
        const Descriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!file.valid() || ::fchmod(file.get(), place.fileMode) != 0)
            return nativeFailure(path);
    }
    RegistryDatabase database;
    database.path = path;
    std::string script = "PRAGMA synchronous=FULL; BEGIN; PRAGMA application_id=" + std::to_string(ApplicationId) +
                         "; PRAGMA user_version=" + std::to_string(SchemaVersion) + ";";
    script.append(KeyTable).append(";").append(ValueTable);
    script += "; INSERT INTO key(id,parent,folded,name) VALUES(1,0,'',''); COMMIT; PRAGMA journal_mode=WAL";
    int result =
        sqlite3_open_v2(path.c_str(), &database.connection, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (result == SQLITE_OK)
        result = sqlite3_exec(database.connection, script.c_str(), nullptr, nullptr, nullptr);
    if (result != SQLITE_OK)
        return database.failure(result);
    database.disconnect();
    const bool linked = ::link(path.c_str(), place.path().c_str()) == 0;
    const std::int32_t failed = linked || errno == EEXIST ? std::int32_t{NoError} : nativeFailure(place.path());
    ::unlink(path.c_str());
    if (const Descriptor folder(::open(place.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)); folder.valid())
        ::fsync(folder.get());
    return failed;
}

// ---- opening

std::int32_t RegistryDatabase::open(const RegistryPlace& place, std::unique_ptr<RegistryDatabase>& opened) {
    for (int attempt = 0; attempt < OpenAttempts; ++attempt) {
        std::unique_ptr<RegistryDatabase> database(new RegistryDatabase);
        database->path = place.path();
        if (const std::int32_t failed = database->openAny(place); failed != NoError)
            return failed;
        // Another may have been put there meanwhile.
        if (database->immutable || database->isCurrent(false)) {
            opened = std::move(database);
            return NoError;
        }
    }
    return registryFails(Busy, place.path() + ": it is replaced again and again");
}

std::int32_t RegistryDatabase::openAny(const RegistryPlace& place) {
    const bool writable = ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0 &&
                          ::faccessat(AT_FDCWD, place.folder.c_str(), W_OK, AT_EACCESS) == 0;
    if (!writable)
        refusal = errno == EROFS ? std::int32_t{WriteProtected} : std::int32_t{AccessDenied};
    Descriptor lock;
    if (writable) {
        lock = lockOf(place);
        if (!lock.valid() && isDenied(errno))
            refusal = AccessDenied;
        else if (!lock.valid())
            return errno == EWOULDBLOCK ? registryFails(Busy, place.beside("-lock")) : nativeFailure(path);
    }
    file = Descriptor(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!file.valid() && errno == ENOENT) {
        if (exists(place.beside(registry_stamps::Suffix)) || exists(place.beside("-wal")))
            return registryFails(RegistryDamaged, path + ": the database is gone, and what belongs to it is not");
        return registryFails(FileNotFound, std::u16string_view());
    }
    struct stat status {};
    if (!file.valid() || ::fstat(file.get(), &status) != 0 || !identityOf(file.get(), {}, identity))
        return nativeFailure(path);
    device = status.st_dev;
    inode = status.st_ino;
    if (!S_ISREG(status.st_mode) || status.st_size == 0)
        return registryFails(RegistryDamaged, path + (status.st_size == 0 ? ": is empty" : ": is no file"));
    if (refusal == NoError) {
        const std::int32_t failed = openForWriting(place);
        if (failed != AccessDenied && failed != WriteProtected)
            return failed;
        refusal = failed; // of a file beside the database
    }
    if (Pair::isParted(place))
        return connect(place, true);
    const std::int32_t failed = connect(place, false);
    // A log that is missing, and that this process may not make, means that the file itself is all there is.
    struct stat log {};
    if (failed == NoError || (::stat(place.beside("-wal").c_str(), &log) == 0 && log.st_size > 0))
        return failed;
    return connect(place, true);
}

std::int32_t RegistryDatabase::openForWriting(const RegistryPlace& place) {
    const std::string name = place.beside(registry_stamps::Suffix);
    stamps = Descriptor(::open(name.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, place.fileMode));
    if (!stamps.valid())
        return nativeFailure(name);
    if (Pair::isParted(place)) {
        if (::unlink(place.beside("-wal").c_str()) != 0)
            return nativeFailure(place.beside("-wal"));
        ::unlink(place.beside("-shm").c_str());
    }
    if (const std::int32_t failed = connect(place, false); failed != NoError)
        return failed;
    struct stat status {};
    if (::fstat(file.get(), &status) == 0)
        giveTo(stamps.get(), status, status.st_mode & 0777);
    const Pair pair = Pair::now(place);
    const auto length = static_cast<off_t>(registry_stamps::HeaderBytes + sizeof(registry_stamps::Stamps));
    static_assert(sizeof pair <= registry_stamps::HeaderBytes);
    if (::ftruncate(stamps.get(), length) != 0 || ::pwrite(stamps.get(), &pair, sizeof pair, 0) != sizeof pair)
        return nativeFailure(name);
    return NoError;
}

std::int32_t RegistryDatabase::connect(const RegistryPlace& place, bool readAlone) {
    disconnect();
    immutable = readAlone;
    const std::string name = readAlone ? uriOf(place.path()) : place.path();
    const int flags = (refusal == NoError ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY) | SQLITE_OPEN_NOMUTEX |
                      (readAlone ? SQLITE_OPEN_URI : 0);
    const int result = sqlite3_open_v2(name.c_str(), &connection, flags, nullptr);
    return result == SQLITE_OK ? settle() : failure(result);
}

std::int32_t RegistryDatabase::settle() {
    sqlite3_extended_result_codes(connection, 1);
    sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, LargestRecord);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    int keepLog = 1;
    sqlite3_file_control(connection, "main", SQLITE_FCNTL_PERSIST_WAL, &keepLog);
    int result =
        sqlite3_exec(connection, "PRAGMA cell_size_check=ON; PRAGMA temp_store=MEMORY", nullptr, nullptr, nullptr);
    if (result == SQLITE_OK)
        result = sqlite3_exec(connection, synchronousPragma(), nullptr, nullptr, nullptr);
    if (result != SQLITE_OK)
        return failure(result);
    if (const std::int32_t failed = checkSchema(); failed != NoError)
        return failed;
    if (refusal != NoError)
        return NoError;
    numberOf(connection, "PRAGMA journal_mode=WAL", result); // what was put here may have none
    if (result != SQLITE_OK)
        return failure(result);
    numberOf(connection, ("PRAGMA journal_size_limit=" + std::to_string(LargestLog)).c_str(), result);
    numberOf(connection, "SELECT 1 FROM key", result); // makes the log and its index
    if (result != SQLITE_OK)
        return failure(result);
    sqlite3_file* handle = nullptr;
    void volatile* index = nullptr;
    if (sqlite3_file_control(connection, "main", SQLITE_FCNTL_FILE_POINTER, &handle) == SQLITE_OK &&
        handle->pMethods != nullptr && handle->pMethods->iVersion >= 2 &&
        handle->pMethods->xShmMap(handle, 0, 32768, 0, &index) == SQLITE_OK)
        logState = index;
    look();
    return NoError;
}

std::int32_t RegistryDatabase::checkSchema() {
    int result = SQLITE_OK;
    const std::int64_t application = numberOf(connection, "PRAGMA application_id", result);
    if (result != SQLITE_OK)
        return failure(result);
    const std::int64_t version = numberOf(connection, "PRAGMA user_version", result);
    if (result != SQLITE_OK)
        return failure(result);
    if (application != ApplicationId)
        return registryFails(RegistryDamaged, path + ": is no hive of the registry");
    if (version > SchemaVersion)
        return registryFails(MadeByNewer, path + ": has version " + std::to_string(version) + ", newer than " +
                                              std::to_string(SchemaVersion));
    // Two for the tables that belong there, and far from that for any other thing, such as a trigger.
    const std::string tables = "SELECT total(CASE WHEN sql IN ('" + std::string(KeyTable) + "','" +
                               std::string(ValueTable) +
                               "') THEN 1 ELSE 100 END) FROM sqlite_schema"
                               " WHERE sql IS NOT NULL AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'";
    const std::int64_t found = numberOf(connection, tables.c_str(), result);
    if (result != SQLITE_OK)
        return failure(result);
    const std::int64_t root = numberOf(connection, "SELECT count(*) FROM key WHERE id=1 AND parent=0", result);
    if (result != SQLITE_OK && (result & 0xFF) != SQLITE_ERROR)
        return failure(result);
    if (version != SchemaVersion || found != 2 || root != 1)
        return registryFails(RegistryDamaged, path + ": does not have the tables of a hive");
    return NoError;
}

} // namespace norq_std_internal::platform
