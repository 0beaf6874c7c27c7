#pragma once

#include "base/Object.h"

#include <cstdint>
#include <memory>

namespace norq_std_internal {
class LockedFileImpl;
}

namespace norq_std {

class ByteArray;
class File;
class Waitable;

/// A file that is held while it is open: for reading together with other readers, for writing alone.
///
/// The hold counts against every other `LockedFile` of the machine, in this process and in others, and against programs
/// that lock with `fcntl`; it ends with `close`, and however the process ends. It does not keep out a program that does
/// not lock. A process forked meanwhile shares the hold until it too has closed the file; one that is executed does
/// not.
///
/// What is held is the file that has the path: one that another file takes the place of between finding and holding it
/// is let go again.
///
/// No lock of its own: an object belongs to one thread at a time.
class NORQSTD_EXPORT LockedFile : public Object {
public:
    enum AccessType : int {
        Read = 0,      ///< an existing file
        Overwrite = 1, ///< made if missing, and emptied once it is held
        Append = 2,    ///< made if missing; written behind what it holds
    };

    LockedFile();
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;
    ~LockedFile() override;

    WString toString() const override;

    virtual bool isOpen() const;
    /// Of the last successful `open`.
    virtual AccessType getAccessType() const;

    /// Closes, and opens the file. With a wait object, which may be null, it tries every 50 milliseconds for as long as
    /// somebody else holds the file; once the object is signaled it throws `NorqInterruptedException`. Any other
    /// failure throws `NorqIOException` at once.
    virtual void open(const File& file, AccessType accessType, const std::shared_ptr<Waitable>& waitObject);
    virtual void close();

    // On a closed file these throw `NorqIllegalStateException`; where the system fails, `NorqIOException`.

    /// As many bytes as the file has, read from the current position; those behind its end are zero.
    virtual std::shared_ptr<ByteArray> read();
    virtual void write(const ByteArray& bytes);
    /// Returns when the disk has what was written.
    virtual void flush();

    static WString accessTypeToString(AccessType accessType);

private:
    const std::shared_ptr<norq_std_internal::LockedFileImpl> impl;
};

} // namespace norq_std
