// How a followed file is found again: after a restart, and when it was rotated more than once between two looks.

#include "Console.h"
#include "DeliveryState.h"
#include "FollowedFile.h"

#include "thread/Thread.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <map>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace shipper {
namespace {

namespace fs = std::filesystem;

constexpr int MOST_LOOKS = 200;

constexpr const norq_std::WChar* RESUME = u"shipper::FollowedFile::resume";
constexpr const norq_std::WChar* OPEN_BETWEEN = u"shipper::FollowedFile::openBetween";

/// An open regular file that is closed unless it is taken.
struct OpenFile {
    /// Throws `StateError` where no more files can be open: one that is left out for that would be lost.
    explicit OpenFile(const std::string& name)
        : descriptor(open(name.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (descriptor < 0 && (errno == EMFILE || errno == ENFILE))
            throw StateError("cannot open " + name + ": " + std::generic_category().message(errno));
        isSound = descriptor >= 0 && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    }
    OpenFile(OpenFile&& other) noexcept
        : descriptor(other.take())
        , status(other.status)
        , isSound(other.isSound) {}
    OpenFile& operator=(OpenFile&& other) noexcept {
        std::swap(descriptor, other.descriptor);
        std::swap(status, other.status);
        std::swap(isSound, other.isSound);
        return *this;
    }
    ~OpenFile() {
        if (descriptor >= 0)
            close(descriptor);
    }

    int take() { return std::exchange(descriptor, -1); }
    bool isFile(const SourcePlace& place) const { return place.isFile(status.st_dev, status.st_ino); }

    int descriptor;
    struct stat status {};
    bool isSound = false;
};

std::string bytesAt(int descriptor, std::uint64_t begin, std::uint64_t count) {
    std::string bytes(count, '\0');
    const ssize_t got = pread(descriptor, bytes.data(), count, static_cast<off_t>(begin));
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
}

bool hasHead(const OpenFile& file, const SourcePlace& place) {
    const std::string head = bytesAt(file.descriptor, 0, place.headBytes);
    return head.size() == place.headBytes && hashOf(head) == place.head;
}

/// Whether the file that a place was made for still has the bytes that were read.
bool hasWhatWasRead(const OpenFile& file, const SourcePlace& place) {
    if (place.offset == 0)
        return true;
    const std::string tail = bytesAt(file.descriptor, place.offset - place.tailBytes, place.tailBytes);
    return hasHead(file, place) && tail.size() == place.tailBytes && hashOf(tail) == place.tail;
}

/// "log.1", "log-20240307", "log.2024-03-07T09:05"
bool isRotatedName(std::string_view name, std::string_view leaf) {
    if (!name.starts_with(leaf) || name.size() < leaf.size() + 2)
        return false;
    return name.find_first_not_of("0123456789-_.:TZ", leaf.size()) == std::string_view::npos;
}

using NameFilter = std::function<bool(const std::string&)>;
using FoundFiles = std::vector<std::pair<fs::path, OpenFile>>;
using SeenFiles = std::map<fs::path, std::pair<dev_t, ino_t>>;

SeenFiles filesIn(const fs::path& folder, const NameFilter& isWanted) {
    SeenFiles files;
    std::error_code failure;
    for (const auto& entry : fs::directory_iterator(folder, failure))
        if (struct stat status{};
            isWanted(entry.path().filename().string()) && stat(entry.path().c_str(), &status) == 0)
            files[entry.path()] = {status.st_dev, status.st_ino};
    return files;
}

/// Those of the files that are still what they were.
FoundFiles openFiles(const SeenFiles& files) {
    FoundFiles opened;
    for (const auto& [path, identity] : files)
        if (OpenFile file(path); file.isSound && identity == std::pair(file.status.st_dev, file.status.st_ino))
            opened.emplace_back(path, std::move(file));
    return opened;
}

/// The files of the path's folder with such names, open. While somebody renames them, a look at a folder can miss one
/// or see one twice: so it looks until two looks give the same and the folder has not changed meanwhile.
FoundFiles openFilesBeside(const std::string& path, const NameFilter& isWanted) {
    const fs::path parent = fs::path(path).parent_path();
    const fs::path folder = parent.empty() ? "." : parent;
    const auto timeOf = [&] {
        std::error_code failure;
        return fs::last_write_time(folder, failure);
    };
    for (int look = 0;; ++look) {
        const auto begin = timeOf();
        const SeenFiles seen = filesIn(folder, isWanted);
        FoundFiles opened = openFiles(seen);
        if ((filesIn(folder, isWanted) == seen && timeOf() == begin) || look == MOST_LOOKS)
            return opened;
        norq_std::Thread::sleep(1); // whoever renames comes to an end
    }
}

} // namespace

std::unique_ptr<FollowedFile::Reading> FollowedFile::begin(int opened) const {
    auto reading = std::make_unique<Reading>(opened, source, queue);
    struct stat status {};
    if (keeper && fstat(opened, &status) == 0) {
        SourcePlace place;
        place.path = path;
        place.device = status.st_dev;
        place.inode = status.st_ino;
        keeper->places.recordBegin(place);
        reading->lines.keepPlaces(place, {});
    }
    return reading;
}

void FollowedFile::resume() {
    for (SourcePlace& place : keeper->places.placesOf(path)) {
        if (place.left)
            continue;
        auto reading = reopen(place);
        if (!reading) {
            SHIPPER_SAY(norq_std::WARN, RESUME,
                        "a file that was " + path + ", read up to byte " + std::to_string(place.offset) +
                            ", is gone or has another content");
            place.left = true;
            keeper->places.recordPlaces({place});
            continue;
        }
        SHIPPER_SAY(norq_std::INFO, RESUME, "going on with " + path + " at line " + std::to_string(place.line));
        if (old)
            leaveOld();
        if (current)
            old = std::move(current);
        current = std::move(reading);
    }
}

std::unique_ptr<FollowedFile::Reading> FollowedFile::reopen(const SourcePlace& place) const {
    const std::string leaf = fs::path(path).filename().string();
    for (auto& [name, file] :
         openFilesBeside(path, [&](const std::string& other) { return other.starts_with(leaf); })) {
        if (!file.isFile(place))
            continue;
        if (!hasWhatWasRead(file, place))
            return nullptr;
        auto reading = std::make_unique<Reading>(file.take(), source, queue);
        const std::uint64_t remembered = std::min<std::uint64_t>(place.offset, Reading::REMEMBERED_BYTES);
        reading->offset = static_cast<off_t>(place.offset);
        reading->last = bytesAt(reading->descriptor, place.offset - remembered, remembered);
        const std::uint64_t head = std::min<std::uint64_t>(place.offset, LineSplitter::HEAD_BYTES);
        reading->lines.keepPlaces(place, bytesAt(reading->descriptor, 0, head));
        return reading;
    }
    return nullptr;
}

FollowedFile::Readings FollowedFile::openBetween(const Reading& before, int after) const {
    Readings readings;
    struct stat earlier {};
    struct stat later {};
    const bool hasLater = after >= 0;
    if (!keeper || fstat(before.descriptor, &earlier) != 0 || (hasLater && fstat(after, &later) != 0))
        return readings;

    // A file that was left is known by its first bytes too, since its inode may have been given to another.
    const std::vector<SourcePlace> places = keeper->places.placesOf(path);
    const auto isKnown = [&](const OpenFile& file) {
        return std::any_of(places.begin(), places.end(), [&](const SourcePlace& place) {
            return file.isFile(place) && (!place.left || (place.headBytes > 0 && hasHead(file, place)));
        });
    };
    using Candidate = std::tuple<std::pair<std::int64_t, std::int64_t>, fs::path, OpenFile>;
    std::vector<Candidate> candidates;
    const auto timeOf = [](const struct stat& status) {
        return std::pair<std::int64_t, std::int64_t>(status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
    };
    const std::string leaf = fs::path(path).filename().string();
    for (auto& [name, file] :
         openFilesBeside(path, [&](const std::string& other) { return isRotatedName(other, leaf); })) {
        const bool isOlder = !hasLater || (timeOf(file.status) <= timeOf(later) &&
                                           (file.status.st_dev != later.st_dev || file.status.st_ino != later.st_ino));
        if (isOlder && timeOf(file.status) >= timeOf(earlier) && !isKnown(file))
            candidates.emplace_back(timeOf(file.status), name, std::move(file));
    }
    // Of the same moment, the one with the larger number is older: "log.10" before "log.9".
    const auto hasLargerNumber = [](const std::string& a, const std::string& b) {
        return a.size() != b.size() ? a.size() > b.size() : a > b;
    };
    std::sort(candidates.begin(), candidates.end(), [&](const Candidate& a, const Candidate& b) {
        return std::get<0>(a) != std::get<0>(b) ? std::get<0>(a) < std::get<0>(b)
                                                : hasLargerNumber(std::get<1>(a).string(), std::get<1>(b).string());
    });
    for (auto& [time, name, file] : candidates) {
        SHIPPER_SAY(norq_std::INFO, OPEN_BETWEEN, name.string() + " was " + path + " meanwhile");
        readings.push_back(begin(file.take()));
    }
    return readings;
}

} // namespace shipper
