#include "FollowedFile.h"

#include "Console.h"
#include "LineDecoder.h"

#include "concurrency/Concurrency.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace shipper {
namespace {

constexpr const norq_std::WChar* OPEN_NEW = u"shipper::FollowedFile::openNew";
constexpr const norq_std::WChar* UPDATE = u"shipper::FollowedFile::update";

bool isSignalled(norq_std::Event* event) { return event && norq_std::Concurrency::waitForSingleObject(*event, 0) == 0; }

} // namespace

// ---- an open file

FollowedFile::Reading::Reading(int opened, const std::shared_ptr<const norq_std::WString>& source, BatchQueue& batches)
    : descriptor(opened)
    , lines(source, batches) {}

FollowedFile::Reading::~Reading() { close(descriptor); }

bool FollowedFile::Reading::isAt(const std::string& name) const {
    struct stat there {};
    struct stat own {};
    return stat(name.c_str(), &there) == 0 && fstat(descriptor, &own) == 0 && there.st_dev == own.st_dev &&
           there.st_ino == own.st_ino;
}

bool FollowedFile::Reading::isEmpty() const {
    struct stat own {};
    return fstat(descriptor, &own) != 0 || own.st_size == 0;
}

bool FollowedFile::Reading::wasTruncated() const {
    std::string now(last.size(), '\0');
    const auto begin = offset - static_cast<off_t>(last.size());
    return pread(descriptor, now.data(), now.size(), begin) != static_cast<ssize_t>(last.size()) || now != last;
}

void FollowedFile::Reading::restart() {
    lines.finish();
    offset = 0;
    last.clear();
}

void FollowedFile::Reading::drain(norq_std::Event* stop) {
    std::string before;
    const auto block = [&](char* buffer, std::size_t size) {
        // With the bytes in front, so that a truncation since the last look is not taken for new lines.
        before.resize(last.size());
        const iovec parts[] = {{before.data(), before.size()}, {buffer, size}};
        const auto inFront = static_cast<ssize_t>(last.size());
        const ssize_t count = preadv(descriptor, parts, 2, offset - inFront);
        if (count <= inFront || before != last)
            return std::min<std::ptrdiff_t>(count, 0);
        offset += count - inFront;
        last.append(buffer, static_cast<std::size_t>(count - inFront));
        last.erase(0, last.size() - std::min(last.size(), REMEMBERED_BYTES));
        return static_cast<std::ptrdiff_t>(count - inFront);
    };
    const off_t begin = offset;
    while (!isSignalled(stop) && lines.take(block) > 0) {
    }
    if (offset != begin)
        NORQ_LOG(norq_std::DEBUG, u"shipper::FollowedFile::drain", u"Read %lld bytes of <%ls>, now at %lld.",
                 offset - begin, *lines.getSource(), offset);
}

// ---- the path

FollowedFile::FollowedFile(std::string filePath, BatchQueue& batches, const PlaceKeeper* placeKeeper)
    : path(std::move(filePath))
    , source(std::make_shared<norq_std::WString>(decode(path.c_str(), path.size()).text))
    , queue(batches)
    , keeper(placeKeeper)
    , isResumed(keeper == nullptr) {}

FollowedFile::~FollowedFile() = default;

void FollowedFile::openNew() {
    const int opened = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    const int error = opened < 0 ? errno : fstat(opened, &status) != 0 ? errno : !S_ISREG(status.st_mode) ? EINVAL : 0;
    if (old && (error == 0 || error == ENOENT)) // the last one may have been renamed with none to follow it
        for (auto& reading : openBetween(*old, opened))
            makeOld(std::move(reading));
    if (error == 0) {
        current = begin(opened);
        SHIPPER_SAY(norq_std::INFO, OPEN_NEW, "following " + path);
    } else {
        if (opened >= 0)
            close(opened);
        if (error != std::exchange(openError, error))
            SHIPPER_SAY(norq_std::WARN, OPEN_NEW,
                        "cannot follow " + path + " yet: " + std::generic_category().message(error));
    }
    openError = error;
}

bool FollowedFile::isStopping() const { return keeper && isSignalled(&keeper->stop); }

void FollowedFile::leaveOld() {
    drain(*old);
    if (isStopping())
        return;
    old->lines.leave();
    old.reset();
}

void FollowedFile::makeOld(std::unique_ptr<Reading> reading) {
    if (old) // rotated twice; its writer had a whole file's time to leave it
        leaveOld();
    if (isStopping())
        return;
    drain(*reading);
    old = std::move(reading);
}

void FollowedFile::update() {
    if (!std::exchange(isResumed, true)) // not when it is made: what there is to read may be more than the queue takes
        resume();
    if (current && !current->isAt(path)) {
        SHIPPER_SAY(norq_std::INFO, UPDATE, path + " was rotated");
        makeOld(std::move(current));
    }
    if (isStopping())
        return;
    if (!current && old && old->isAt(path))
        current = std::move(old); // it was put back
    if (!current)
        openNew();
    if (old) {
        if (current && !current->isEmpty()) // looked at before the last of the old file is read
            leaveOld();
        else
            drain(*old);
    }
    if (current && current->wasTruncated()) {
        SHIPPER_SAY(norq_std::INFO, UPDATE, path + " was truncated");
        current->restart();
    }
    if (current && !old)
        drain(*current);
}

void FollowedFile::finish() {
    update();
    if (keeper)
        return;
    for (const auto* reading : {&old, &current})
        if (*reading) {
            drain(**reading);
            (*reading)->lines.finish();
        }
}

std::string FollowedFile::oldPath() const {
    if (!old)
        return {};
    std::array<char, PATH_MAX> target{};
    const std::string link = "/proc/self/fd/" + std::to_string(old->descriptor);
    const ssize_t length = readlink(link.c_str(), target.data(), target.size());
    struct stat status {};
    if (length <= 0 || fstat(old->descriptor, &status) != 0 || status.st_nlink == 0)
        return {};
    return {target.data(), static_cast<std::size_t>(length)};
}

} // namespace shipper
