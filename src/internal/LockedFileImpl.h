#pragma once

#include "base/WString.h"
#include "file/LockedFile.h"
#include "platform/FileHandle.h"

#include <memory>

namespace norq_std_internal {

/// The open file of a LockedFile.
class LockedFileImpl {
public:
    LockedFileImpl() = default;
    LockedFileImpl(const LockedFileImpl&) = delete;
    LockedFileImpl& operator=(const LockedFileImpl&) = delete;
    virtual ~LockedFileImpl();

    bool isOpen() const { return handle.isOpen(); }
    norq_std::LockedFile::AccessType getAccessType() const { return accessType; }

    void open(const norq_std::WString& path, norq_std::LockedFile::AccessType openType,
              const std::shared_ptr<norq_std::Waitable>& waitObject);
    void close();
    std::shared_ptr<norq_std::ByteArray> read();
    void write(const norq_std::ByteArray& bytes);
    void flush();

private:
    void checkOpen() const;

    platform::FileHandle handle;
    norq_std::LockedFile::AccessType accessType = norq_std::LockedFile::Read;
};

} // namespace norq_std_internal
