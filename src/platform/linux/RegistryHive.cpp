#include "platform/linux/RegistryHive.h"

#include "platform/CancellationShield.h"
#include "platform/Error.h"
#include "platform/FileSystem.h"
#include "platform/NarrowText.h"
#include "platform/SystemInfo.h"
#include "platform/linux/RegistryText.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <string_view>
#include <thread>
#include <utility>

#include <pthread.h>

namespace norq_std_internal::platform {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto BusyLimit = 30s;
constexpr auto ShortestPause = 50us;
constexpr auto LongestPause = 5ms;
constexpr std::size_t MostRowsKept = 16384;

std::string folderOf(const char16_t* variable, std::string (*otherwise)()) {
    std::u16string text;
    if (environmentVariable(variable, text) && !text.empty()) {
        std::error_code ignored;
        std::filesystem::path folder = std::filesystem::absolute(nativePath(text), ignored).lexically_normal();
        return folder.has_filename() ? folder.string() : folder.parent_path().string();
    }
    return otherwise();
}

std::string userFolder() {
    std::u16string text;
    if (environmentVariable(u"XDG_DATA_HOME", text) && text.starts_with(u'/'))
        return toUtf8(text) + "/norqstd";
    const std::string home = nativePath(homeDirectory());
    return home.empty() ? home : home + "/.local/share/norqstd";
}

RegistryPlace placeOfRoot(HKey root) {
    if (root == norq_std::HKEY_CURRENT_USER)
        return {folderOf(u"NORQSTD_REGISTRY_USER", userFolder), "user.db", 0700, 0600};
    return {folderOf(u"NORQSTD_REGISTRY_MACHINE", [] { return std::string("/var/lib/norqstd"); }), "machine.db", 0755,
            0644};
}

/// What the environment says of a root's place.
std::u16string environmentOf(HKey root) {
    const bool user = root == norq_std::HKEY_CURRENT_USER;
    std::u16string text;
    if ((environmentVariable(user ? u"NORQSTD_REGISTRY_USER" : u"NORQSTD_REGISTRY_MACHINE", text) && !text.empty()) ||
        !user)
        return text;
    std::u16string home;
    environmentVariable(u"XDG_DATA_HOME", text);
    environmentVariable(u"HOME", home);
    return text + u'\n' + home;
}

struct Hives {
    struct Found {
        std::u16string environment;
        std::shared_ptr<RegistryHive> hive;
    };

    std::mutex mutex;
    std::vector<std::shared_ptr<RegistryHive>> all;
    std::array<Found, 2> last; // of the two roots
};

Hives& hives() {
    static Hives& known = *new Hives;
    return known;
}

/// A failure that its number describes.
std::int32_t notThere(std::int32_t number) { return registryFails(number, std::u16string_view()); }

std::int64_t nowInNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

void mix(std::uint64_t& hash, std::uint64_t part) {
    hash = (hash ^ part) * 0x9E3779B97F4A7C15;
    hash ^= hash >> 29;
}

void mix(std::uint64_t& hash, std::string_view part) {
    mix(hash, part.size());
    mix(hash, std::hash<std::string_view>()(part));
}

RegistryValue valueIn(const RegistryQuery& row, int typeColumn) {
    RegistryValue value{static_cast<std::uint32_t>(row.number(typeColumn)), {}};
    switch (row.form(typeColumn + 1)) {
    case RegistryQuery::Form::Number:
        value.bytes = bytesOfNumber(row.number(typeColumn + 1));
        break;
    case RegistryQuery::Form::Text:
        value.bytes = bytesOfText(row.text(typeColumn + 1));
        break;
    case RegistryQuery::Form::Bytes:
        value.bytes = row.text(typeColumn + 1);
    }
    return value;
}

std::int32_t hashValues(RegistryDatabase& database, std::int64_t key, std::uint64_t& hash,
                        std::vector<RegistryEntry>* entries) {
    RegistryQuery query(database, RegistrySql::ListValues);
    query.bind(key);
    hash = 0;
    while (query.next()) {
        mix(hash, query.text(0));
        mix(hash, static_cast<std::uint64_t>(query.number(1)));
        mix(hash, static_cast<std::uint64_t>(query.number(2)));
        if (entries != nullptr) {
            RegistryEntry& entry = entries->emplace_back();
            appendStoredText(entry.name, query.text(0));
            entry.value = valueIn(query, 2);
        }
        if (query.form(3) == RegistryQuery::Form::Number)
            mix(hash, static_cast<std::uint64_t>(query.number(3)));
        else
            mix(hash, query.text(3));
    }
    return query.error;
}

std::int32_t hashKeys(RegistryDatabase& database, std::int64_t key, std::uint64_t& hash,
                      std::vector<std::u16string>* names) {
    RegistryQuery query(database, RegistrySql::ListKeys);
    query.bind(key);
    hash = 0;
    while (query.next()) {
        mix(hash, query.text(0));
        mix(hash, static_cast<std::uint64_t>(query.number(1)));
        if (names != nullptr)
            appendStoredText(names->emplace_back(), query.text(0));
    }
    return query.error;
}

std::int32_t keyExists(RegistryDatabase& database, std::int64_t id, std::int32_t otherwise) {
    RegistryQuery query(database, RegistrySql::KeyExists);
    if (query.bind(id).next())
        return NoError;
    return query.error != NoError ? query.error : notThere(otherwise);
}

bool compare(std::optional<std::uint64_t>& seen, std::uint64_t now) {
    const bool changed = seen.has_value() && *seen != now;
    seen = now;
    return changed;
}

} // namespace

// ---- hives

std::shared_ptr<RegistryHive> RegistryHive::of(HKey root) {
    if (root != norq_std::HKEY_CURRENT_USER && root != norq_std::HKEY_LOCAL_MACHINE)
        return nullptr;
    Hives& known = hives();
    std::u16string environment = environmentOf(root);
    const std::lock_guard guard(known.mutex);
    Hives::Found& last = known.last[root == norq_std::HKEY_CURRENT_USER ? 0 : 1];
    if (last.hive != nullptr && last.environment == environment &&
        (environment.empty() || environment[0] == u'/' || environment[0] == u'\n'))
        return last.hive;
    RegistryPlace place = placeOfRoot(root);
    static const int once = ::pthread_atfork(beforeFork, afterFork, afterFork);
    static_cast<void>(once);
    const auto found = std::ranges::find_if(known.all, [&](const auto& hive) { return hive->place == place; });
    last.environment = std::move(environment);
    last.hive =
        found != known.all.end() ? *found : known.all.emplace_back(std::make_shared<RegistryHive>(std::move(place)));
    return last.hive;
}

void RegistryHive::closeAll() noexcept {
    const CancellationShield shield;
    const std::lock_guard guard(hives().mutex);
    for (const auto& hive : hives().all) {
        const std::lock_guard hiveGuard(hive->mutex);
        hive->database.reset();
    }
}

// A connection cannot be taken to another process: what SQLite remembers of its locks would be wrong there. So there is
// none while the process is forked, and each side makes its own.

void RegistryHive::beforeFork() {
    hives().mutex.lock();
    for (const auto& hive : hives().all) {
        hive->mutex.lock();
        hive->database.reset();
    }
}

void RegistryHive::afterFork() {
    for (const auto& hive : hives().all)
        hive->mutex.unlock();
    hives().mutex.unlock();
}

std::int32_t RegistryHive::attach(For purpose) {
    if (place.folder.empty())
        return registryFails(PathNotFound, u"no home directory is known");
    if (database != nullptr && (database->isBroken() || !database->isCurrent(purpose == For::Reading)))
        database.reset();
    if (database == nullptr) {
        std::int32_t result = RegistryDatabase::open(place, database);
        const bool toMake = purpose == For::Making || purpose == For::Setting;
        if (result == FileNotFound && toMake) {
            result = RegistryDatabase::make(place);
            if (result == NoError)
                result = RegistryDatabase::open(place, database);
        }
        if (result != NoError && (result != FileNotFound || toMake))
            return result;
        const RegistryFileIdentity found = database == nullptr ? RegistryFileIdentity() : database->fileIdentity();
        if (found != fileIdentity) {
            ++epoch;
            rows.clear();
        }
        fileIdentity = found;
        ++generation;
    }
    if (database == nullptr)
        return NoError; // the empty hive, of which there is only the root
    if (!database->sameSinceLastLook()) {
        ++generation;
        database->look();
    }
    const std::int32_t refusal =
        purpose != For::Reading && purpose != For::Opening ? database->writeRefusal() : std::int32_t{NoError};
    return refusal == NoError ? refusal : registryFails(refusal, place.path() + ": may not be written");
}

/// Runs a step under the mutex, again while other processes are in its way. The mutex is free in the pauses.
template <class Step>
std::int32_t RegistryHive::run(For purpose, const Step& step, bool isPatient) {
    std::optional<Clock::time_point> limit;
    for (auto pause = std::chrono::microseconds(ShortestPause);;
         pause = std::min<decltype(pause)>(pause * 2, LongestPause)) {
        {
            const CancellationShield shield;
            const std::lock_guard guard(mutex);
            std::int32_t result = attach(purpose);
            if (result == NoError)
                result = step(database.get());
            if (result != Busy || !isPatient)
                return result;
            if (!limit.has_value())
                limit = Clock::now() + BusyLimit;
            else if (Clock::now() > *limit)
                return result;
        }
        std::this_thread::sleep_for(pause);
    }
}

// ---- keys

std::int32_t RegistryHive::walk(RegistryDatabase& connection, const std::string& path, std::int64_t& id) {
    id = RegistryDatabase::RootKey;
    for (std::size_t at = 0; at < path.size();) {
        const std::size_t end = std::min(path.find('\\', at), path.size());
        RegistryQuery query(connection, RegistrySql::FindKey);
        if (!query.bind(id).bind(std::string_view(path).substr(at, end - at)).next())
            return query.error != NoError ? query.error : notThere(FileNotFound);
        id = query.number(0);
        at = end + 1;
    }
    return NoError;
}

std::int32_t RegistryHive::find(RegistryDatabase* connection, const std::string& path, std::int64_t& id) {
    id = RegistryDatabase::RootKey;
    if (path.empty())
        return NoError;
    if (connection == nullptr)
        return notThere(FileNotFound);
    if (const auto known = rows.find(path); known != rows.end()) {
        id = known->second.id;
        if (known->second.generation == generation)
            return NoError;
        const std::int32_t result = keyExists(*connection, id, FileNotFound);
        if (result == NoError)
            known->second.generation = generation;
        else
            rows.erase(known);
        if (result != FileNotFound)
            return result;
    }
    const std::int32_t result = walk(*connection, path, id);
    if (result != NoError)
        return result;
    if (rows.size() >= MostRowsKept)
        rows.clear();
    rows.insert_or_assign(path, Row{id, generation});
    return NoError;
}

std::int32_t RegistryHive::resolve(RegistryDatabase* connection, RegistryOpenKey& key) {
    if (key.epoch == epoch)
        return NoError;
    std::int32_t result = find(connection, key.path, key.id);
    if (result == FileNotFound)
        result = notThere(KeyDeleted);
    if (result == NoError)
        key.epoch = epoch;
    return result;
}

/// Why nothing was found below a key: because there is nothing, or no key.
std::int32_t RegistryHive::missing(RegistryDatabase* connection, const RegistryOpenKey& key) {
    return connection == nullptr ? std::int32_t{NoError} : keyExists(*connection, key.id, KeyDeleted);
}

std::int32_t RegistryHive::open(RegistryOpenKey& key) {
    const bool toWrite = (key.access & (norq_std::KEY_SET_VALUE | norq_std::KEY_CREATE_SUB_KEY)) != 0;
    return run(toWrite ? For::Making : For::Opening, [&](RegistryDatabase* connection) {
        key.epoch = epoch;
        return find(connection, key.path, key.id);
    });
}

std::int32_t RegistryHive::create(RegistryOpenKey& key, const std::vector<std::u16string_view>& names, bool& existed) {
    const std::int32_t found = open(key);
    existed = found == NoError;
    if (found != FileNotFound)
        return found;
    return run(For::Making, [&](RegistryDatabase* connection) { return makeKeys(*connection, key, names, existed); });
}

std::int32_t RegistryHive::makeKeys(RegistryDatabase& connection, RegistryOpenKey& key,
                                    const std::vector<std::u16string_view>& names, bool& existed) {
    RegistryTransaction transaction(connection);
    if (transaction.beginning() != NoError)
        return transaction.beginning();
    std::vector<std::int64_t> parentOfNew;
    std::int64_t id = RegistryDatabase::RootKey;
    std::size_t at = 0;
    for (const std::u16string_view name : names) {
        const std::size_t end = std::min(key.path.find('\\', at), key.path.size());
        const std::string_view folded = std::string_view(key.path).substr(at, end - at);
        at = end + 1;
        RegistryQuery found(connection, RegistrySql::FindKey);
        if (found.bind(id).bind(folded).next()) {
            id = found.number(0);
            continue;
        }
        if (found.error != NoError)
            return found.error;
        if (parentOfNew.empty())
            parentOfNew.push_back(id);
        const std::string stored = storedText(name);
        RegistryQuery make(connection, RegistrySql::MakeKey);
        const std::int64_t made = connection.numberOfNewKey();
        if (make.bind(made).bind(id).bind(folded).bind(stored).run() != NoError)
            return make.error;
        id = made;
    }
    if (const std::int32_t result = transaction.commit(); result != NoError)
        return result;
    key.id = id;
    key.epoch = epoch;
    existed = parentOfNew.empty();
    connection.announce(parentOfNew);
    return NoError;
}

std::int32_t RegistryHive::removeTree(const std::string& path) {
    return run(For::Changing, [&](RegistryDatabase* connection) -> std::int32_t {
        if (connection == nullptr)
            return notThere(FileNotFound);
        RegistryTransaction transaction(*connection);
        if (transaction.beginning() != NoError)
            return transaction.beginning();
        std::vector<std::int64_t> keys(1);
        const std::size_t parentEnd = path.rfind('\\');
        std::int32_t result = walk(*connection, path.substr(0, parentEnd == path.npos ? 0 : parentEnd), keys[0]);
        std::int64_t top = 0;
        if (result == NoError)
            result = walk(*connection, path, top);
        if (result != NoError)
            return result;
        {
            RegistryQuery tree(*connection, RegistrySql::TreeOfKey);
            tree.bind(top);
            while (tree.next())
                keys.push_back(tree.number(0));
            result = tree.error;
        }
        for (std::size_t i = 1; result == NoError && i < keys.size(); ++i) {
            result = RegistryQuery(*connection, RegistrySql::RemoveValues).bind(keys[i]).run();
            if (result == NoError)
                result = RegistryQuery(*connection, RegistrySql::RemoveKey).bind(keys[i]).run();
        }
        if (result == NoError)
            result = transaction.commit();
        if (result == NoError)
            connection->announce(keys);
        return result;
    });
}

// ---- values

std::int32_t RegistryHive::getValue(RegistryOpenKey& key, std::u16string_view name, RegistryValue& value) {
    const std::string folded = foldedName(name);
    return run(For::Reading, [&](RegistryDatabase* connection) {
        std::int32_t result = resolve(connection, key);
        if (result != NoError)
            return result;
        if (connection != nullptr) {
            RegistryQuery query(*connection, RegistrySql::GetValue);
            if (query.bind(key.id).bind(folded).next()) {
                value = valueIn(query, 0);
                return result;
            }
            result = query.error;
        }
        if (result == NoError)
            result = missing(connection, key);
        return result == NoError ? notThere(FileNotFound) : result;
    });
}

std::int32_t RegistryHive::setValue(RegistryOpenKey& key, std::u16string_view name, std::uint32_t type,
                                    std::string_view bytes) {
    const std::string folded = foldedName(name);
    const std::string stored = storedText(name);
    const StoredForm form = storedForm(type, bytes);
    const std::string text = form == StoredForm::Text ? textOfBytes(bytes) : std::string();
    return run(For::Setting, [&](RegistryDatabase* connection) {
        std::int32_t result = resolve(connection, key);
        if (result != NoError)
            return result;
        RegistryQuery query(*connection, RegistrySql::PutValue);
        query.bind(key.id).bind(folded).bind(stored).bind(nowInNanoseconds()).bind(std::int64_t{type});
        if (form == StoredForm::Text)
            query.bind(text);
        else if (form == StoredForm::Number)
            query.bind(std::int64_t{numberOfBytes(bytes)});
        else
            query.bindBytes(bytes);
        result = query.run();
        if (result == NoError && query.changes() == 0)
            result = notThere(KeyDeleted);
        if (result == NoError)
            valuesChanged(*connection, key);
        return result;
    });
}

std::int32_t RegistryHive::removeValue(RegistryOpenKey& key, std::u16string_view name) {
    const std::string folded = foldedName(name);
    return run(For::Changing, [&](RegistryDatabase* connection) {
        std::int32_t result = resolve(connection, key);
        if (result != NoError)
            return result;
        if (connection == nullptr)
            return notThere(FileNotFound);
        RegistryQuery query(*connection, RegistrySql::RemoveValue);
        result = query.bind(key.id).bind(folded).run();
        if (result != NoError)
            return result;
        const bool removed = query.changes() > 0;
        if (removed)
            valuesChanged(*connection, key);
        else
            result = missing(connection, key);
        return result == NoError && !removed ? notThere(FileNotFound) : result;
    });
}

std::int32_t RegistryHive::listKeys(RegistryOpenKey& key, std::vector<std::u16string>& names) {
    return run(For::Reading, [&](RegistryDatabase* connection) {
        names.clear();
        std::int32_t result = resolve(connection, key);
        std::uint64_t hash = 0;
        if (result == NoError && connection != nullptr)
            result = hashKeys(*connection, key.id, hash, &names);
        if (result == NoError && names.empty())
            result = missing(connection, key);
        if (result == NoError)
            key.seen.names = hash;
        return result;
    });
}

std::int32_t RegistryHive::listValues(RegistryOpenKey& key, std::vector<RegistryEntry>& entries) {
    return run(For::Reading, [&](RegistryDatabase* connection) {
        entries.clear();
        std::int32_t result = resolve(connection, key);
        std::uint64_t hash = 0;
        if (result == NoError && connection != nullptr)
            result = hashValues(*connection, key.id, hash, &entries);
        if (result == NoError && entries.empty())
            result = missing(connection, key);
        if (result == NoError)
            key.seen.values = hash;
        return result;
    });
}

/// Behind a commit that left the keys as they were: rows that were seen before it are still right, unless somebody else
/// has committed too.
void RegistryHive::valuesChanged(RegistryDatabase& connection, const RegistryOpenKey& key) {
    connection.announce({&key.id, 1});
    if (!connection.lookBehindOneCommit()) {
        ++generation;
        connection.look();
    }
}

// ---- changes

std::int32_t RegistryHive::look(RegistryOpenKey& key, std::uint32_t filter, bool& changed, bool comesBack) {
    const auto step = [&](RegistryDatabase* connection) {
        changed = false;
        std::int32_t result = resolve(connection, key);
        if (result == NoError)
            result = missing(connection, key);
        std::uint64_t hash = 0;
        if (result == NoError && (filter & norq_std::REG_NOTIFY_CHANGE_LAST_SET) != 0) {
            result = connection == nullptr ? result : hashValues(*connection, key.id, hash, nullptr);
            changed = result == NoError && compare(key.seen.values, hash);
        }
        if (result == NoError && (filter & norq_std::REG_NOTIFY_CHANGE_NAME) != 0) {
            hash = 0;
            result = connection == nullptr ? result : hashKeys(*connection, key.id, hash, nullptr);
            changed = result == NoError && (compare(key.seen.names, hash) || changed);
        }
        return result;
    };
    return run(For::Opening, step, !comesBack);
}

std::int64_t RegistryHive::rowOf(const RegistryOpenKey& key) {
    const std::lock_guard guard(mutex);
    return key.id;
}

} // namespace norq_std_internal::platform
