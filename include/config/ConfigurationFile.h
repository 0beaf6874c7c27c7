#pragma once

#include "config/Configuration.h"
#include "config/ConfigurationSerializer.h"
#include "file/File.h"
#include "file/LockedFile.h"

#include <memory>

namespace norq_std {

/// A configuration with a file: `load` replaces the content by the file's, `save` replaces the file by the content.
///
/// A load or save keeps other `LockedFile`s, of this process and of others, away from the file while it lasts, and does
/// not wait for one that has it: that is a `NorqIOException`. Both hold the object's lock throughout.
///
/// A save leaves the old file or the new one, whole, whatever happens to the disk or to the process meanwhile: the new
/// text is written beside the file, brought to the disk, and takes the place and the permissions of the file in one
/// step. Where this would change more than the content (a link, a file with several names, of another owner, or with an
/// access list) or is not allowed (a directory that cannot be written, a file that is mounted by itself), the file is
/// written in place. A failure then puts the old content back as far as the disk allows; only a process that is killed
/// in that moment leaves a short file.
class NORQSTD_EXPORT ConfigurationFile : public Configuration {
public:
    /// The serializer of the whole process for `ConfigurationSerializer::defaultCharset`.
    static const std::shared_ptr<ConfigurationSerializer>& defaultSerializer;

    /// Shares the serializer; the path is empty.
    explicit ConfigurationFile(const std::shared_ptr<ConfigurationSerializer>& serializer = defaultSerializer);
    /// Shares the serializer; null gives a new one like the default one.
    ConfigurationFile(const File& path, const std::shared_ptr<ConfigurationSerializer>& serializer);
    /// The sections of the other, the default serializer and an empty path.
    explicit ConfigurationFile(const Configuration& other);
    /// The sections of the other, a new serializer like its own, and an empty path.
    ConfigurationFile(const ConfigurationFile& other);
    ConfigurationFile& operator=(const ConfigurationFile&) = delete;
    ~ConfigurationFile() override;

    WString toString() const override;

    virtual std::shared_ptr<ConfigurationSerializer> getSerializer() const;
    virtual File getPath() const;
    /// The serializer's; empty without one.
    virtual WString getLineSeparator() const;
    virtual void setSerializer(const std::shared_ptr<ConfigurationSerializer>& newSerializer);
    virtual void setPath(const File& newPath);
    /// Does nothing without a serializer.
    virtual void setLineSeparator(const WString& separator);

    /// Removes the old content first: after a failure to open or read the file, which `LockedFile` throws, the default
    /// section alone is left. What lines hold is never a failure.
    virtual void load();
    /// Makes the directories above the file where they are missing; throws `NorqIOException` if that fails, and what
    /// `LockedFile` throws. A failure leaves the object as it was.
    virtual void save();

private:
    /// Replaces the sections by copies.
    void copy(const Configuration& other);
    void writeInPlace(const WString& target, const ByteArray& bytes) NORQ_REQUIRES(lock);

    std::shared_ptr<ConfigurationSerializer> serializer NORQ_GUARDED_BY(lock);
    LockedFile lockedFile NORQ_GUARDED_BY(lock); // open only during a load or save
    File path NORQ_GUARDED_BY(lock);
};

} // namespace norq_std
