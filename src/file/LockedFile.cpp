#include "file/LockedFile.h"

#include "base/LogMacros.h"
#include "file/File.h"
#include "internal/LockedFileImpl.h"
#include "stream/ByteArray.h"

namespace norq_std {

LockedFile::LockedFile()
    : impl(std::make_shared<norq_std_internal::LockedFileImpl>()) {}

LockedFile::~LockedFile() = default;

WString LockedFile::toString() const {
    return u"LockedFile{accessType='" + accessTypeToString(impl->getAccessType()) + u"'}";
}

bool LockedFile::isOpen() const { return impl->isOpen(); }

LockedFile::AccessType LockedFile::getAccessType() const { return impl->getAccessType(); }

void LockedFile::open(const File& file, AccessType accessType, const std::shared_ptr<Waitable>& waitObject) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::LockedFile::open");
    impl->close();
    impl->open(file.getCanonicalPath(), accessType, waitObject);
}

void LockedFile::close() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::LockedFile::close");
    impl->close();
}

std::shared_ptr<ByteArray> LockedFile::read() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::LockedFile::read");
    return impl->read();
}

void LockedFile::write(const ByteArray& bytes) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::LockedFile::write");
    impl->write(bytes);
}

void LockedFile::flush() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::LockedFile::flush");
    impl->flush();
}

WString LockedFile::accessTypeToString(AccessType accessType) {
    switch (accessType) {
    case Read:
        return u"Read";
    case Overwrite:
        return u"Overwrite";
    case Append:
        return u"Append";
    }
    return u"Invalid";
}

} // namespace norq_std
