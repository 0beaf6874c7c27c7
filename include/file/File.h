#pragma once

#include "base/Object.h"

#include <cstdint>
#include <list>

namespace norq_std {

class IFileFilter;

/// A path as a value: its elements in order, and what can be asked of and done to the file that it leads to.
///
/// Paths are those of the family: `C:\a\b`, `\a\b` (from the root of the current drive), `a\b` (from the working
/// directory). Both "/" and "\" are read, "\" is written. On this platform the one drive, `C:`, is the root of the file
/// tree, so that `C:\var\log` is /var/log, and a path such as "/var/log" is taken as it stands. A network path
/// (`\\host\share`) and another drive are valid paths to nothing.
///
/// A `File` that was constructed is valid: no element holds a forbidden character or ends in a dot or white space, and
/// the lengths of the elements plus one for each are at most `maxPathSize`. What would not be valid throws
/// `NorqIllegalArgumentException`.
///
/// The queries do not throw `NorqIOException`. A failure of the system is false, 0 or an empty list, and a line of
/// debug log. They look at the canonical path, and follow links; a link to nothing does not exist. A canonical path
/// longer than `maxPathSize`, which a relative path far below the working directory can have, throws
/// `NorqIllegalArgumentException`.
///
/// No lock: one object may be read by several threads while none changes it. The working directory belongs to the
/// process, so a relative path means another file after any thread calls `setWorkingDirectory`.
class NORQSTD_EXPORT File : public Object {
public:
    using PathList = std::list<WString>;

    static constexpr WChar pathSeparator = u'\\';
    /// The largest sum of the elements' lengths, one more for each of them.
    static constexpr std::int32_t maxPathSize = 260;
    /// Carriage return and line feed.
    static const WString& lineSeparator;

    /// The empty path, which stands for the working directory.
    File() = default;
    explicit File(const WString& path);
    /// The child's elements behind the parent's. A child that starts at the root is taken as one that does not.
    File(const WString& parent, const WString& child);
    File(const File& parent, const WString& child);
    File(const File& other) = default;
    File(File&& other) noexcept = default;
    File& operator=(const File& other) = default;
    File& operator=(File&& other) noexcept = default;
    ~File() override;

    WString toString() const override;

    File operator+(const WString& child) const;

    /// The canonical paths, without regard to case. False also if one of them cannot be had.
    bool operator==(const File& other) const;
    bool operator!=(const File& other) const { return !(*this == other); }

    WString getPath() const;
    /// The last element; of a lone element its name in the absolute path, and empty for the root directory.
    WString getName() const;
    /// The path without its last element: of the root directory the path itself, of any other lone element empty.
    WString getParent() const;
    File getParentFile() const;
    bool isAbsolute() const;
    bool isRootDirectory() const;

    // These ask for the working directory where the path does not start at a drive, and throw `NorqIOException` if
    // there is none.

    WString getAbsolutePath() const;
    File getAbsoluteFile() const;
    /// The absolute path without "." and "..", its drive in upper case. It is formed of the text alone: links are not
    /// resolved, and letters keep their case. A ".." does not climb above the root: "C:\..\x" is "C:\x", and a path of
    /// which nothing remains is the root directory.
    WString getCanonicalPath() const;
    File getCanonicalFile() const;

    bool exists() const;
    bool isDirectory() const;
    /// Whether it exists and is no directory.
    bool isFile() const;
    /// Whether the name begins with a dot.
    bool isHidden() const;
    /// Whether this process, with the rights that it has now, may read or write.
    bool canRead() const;
    bool canWrite() const;
    /// In milliseconds since 1970 began; 0 where the file system does not keep it.
    std::uint64_t getCreationTime() const;
    std::uint64_t getLastModificationTime() const;
    /// In bytes; 0 for what has no length of its own, such as a directory.
    std::uint64_t getLength() const;

    /// The names in the directory, in the order of the file system. Names that could not be an element of a path (see
    /// `assertFilenameIsValid`; a drive such as "c:" neither) are left out, with one line of debug log.
    std::list<WString> list() const;
    /// `list` as files below this one. What would be too long a path is left out likewise.
    std::list<File> listFiles() const;
    std::list<File> listFiles(const IFileFilter& filter) const;

    // Each true on success.

    /// False if it exists.
    bool mkdir() const;
    /// With all missing directories above it.
    bool mkdirs() const;
    /// In one step; a file or an empty directory that has the other name is replaced.
    bool renameTo(const File& other) const;
    /// Removes a file, an empty directory, or a link itself.
    bool remove() const;
    /// Removes a directory with all that lies below it, whatever its names are; links are removed, never followed. Ends
    /// at the first failure.
    bool rmdirs() const;
    /// Sets the times of an existing file to now, or creates an empty one. False for a directory.
    bool touch() const;

    // These throw `NorqIOException` if the system fails.

    static File getWorkingDirectory();
    /// `NorqIllegalArgumentException` for what is no directory.
    static void setWorkingDirectory(const File& file);
    /// The root of the drive of the working directory.
    static File getRootDirectory();
    static File getUserDirectory();
    static std::list<File> listRoots();

    /// Throws `NorqIllegalArgumentException` for what cannot be an element of a path.
    static void assertFilenameIsValid(const WString& name);

protected:
    static PathList parsePath(const WString& path);
    static WString generatePathString(PathList::const_iterator begin, PathList::const_iterator end);
    /// The list without "." and, for each "..", without the element before it.
    static PathList getAbsolutePathList(const PathList& list);
    void appendPathElements(const PathList& list);
    void copy(const File& other);

    static bool isSeparator(WChar character) { return character == u'/' || character == u'\\'; }
    static bool isSeparator(const WString& text) { return text.size() == 1 && isSeparator(text.front()); }
    static void assertPathElementIsValid(const WString& element);
    static void assertPathIsValid(const PathList& list);
    static bool recursiveRemove(const File& file);

private:
    static bool isRoot(const WString& element);
    template <class Condition>
    std::list<File> listFilesIf(const Condition& condition) const;

    PathList elements;
};

} // namespace norq_std
