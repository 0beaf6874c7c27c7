#include "concurrency/ReadWriteLock.h"

#include "exception/NorqException.h"
#include "internal/ReadWriteLockPimpl.h"

#include <string>

namespace norq_std {

using norq_std_internal::ReadWriteLockPimpl;

namespace {

int checked(int maxReaders) {
    if (maxReaders < 1)
        throw NorqIllegalArgumentException(u"Maximum number of simultaneous readers must not be less than one.");
    return maxReaders;
}

} // namespace

ReadWriteLock::ReadWriteLock(int maxReaders)
    : pimpl(std::make_shared<ReadWriteLockPimpl>(checked(maxReaders))) {}

ReadWriteLock::~ReadWriteLock() = default;

WString ReadWriteLock::toString() const {
    const std::string count = std::to_string(pimpl->getMaxReaders());
    return u"ReadWriteLock{maxReaders='" + WString(count.begin(), count.end()) + u"'}";
}

void ReadWriteLock::readLock() { pimpl->readLock(); }
void ReadWriteLock::readUnlock() { pimpl->readUnlock(); }
void ReadWriteLock::writeLock() { pimpl->writeLock(); }
void ReadWriteLock::writeUnlock() { pimpl->writeUnlock(); }

} // namespace norq_std
