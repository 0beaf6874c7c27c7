#pragma once

#include "base/Object.h"
#include "concurrency/Lock.h"
#include "file/LockedFile.h"

#include <memory>
#include <string_view>

namespace norq_std {

class Preferences;

/// Writes a node of preferences, or a whole tree, to an XML file.
///
/// `Preferences::exportNode` and `exportSubtree` are the usual way; an object of this class holds the file from its
/// construction, so that nothing else writes it before the export. The export is no snapshot: a tree that changes
/// meanwhile is written partly as it was and partly as it is. The file is written line by line, and a failure leaves it
/// as far as it was written.
///
/// Names, keys and values are written as they stand, without any escape: docs/preferences.md tells which of them the
/// format does not bring back. Only a zero unit and half a surrogate pair, which no file in UTF-8 can hold, become
/// U+FFFD.
///
/// Any thread may call; one export runs at a time.
class NORQSTD_EXPORT PreferencesXmlWriter : public Object {
public:
    /// Opens the file and empties it; missing directories above it are made. Throws `NorqIllegalArgumentException` for
    /// a null node or an empty name, and `NorqIOException`.
    PreferencesXmlWriter(const std::shared_ptr<Preferences>& exportedNode, const WString& outputFilename);
    PreferencesXmlWriter(const PreferencesXmlWriter&) = delete;
    PreferencesXmlWriter& operator=(const PreferencesXmlWriter&) = delete;
    ~PreferencesXmlWriter() override;

    WString toString() const override;

    // Each closes the file at its end; a second export opens and empties it again. They throw `NorqIOException`, and
    // what the node's store throws.

    /// The node with its keys, and the path to it.
    virtual void writePrefs();
    /// The same, and all below it.
    virtual void writePrefsTree();

private:
    void internalWritePrefs() NORQ_REQUIRES(lock);
    void writePreferences() NORQ_REQUIRES(lock);
    void writeNodes(std::size_t level) NORQ_REQUIRES(lock);
    void writeMap(const Preferences& from, std::size_t level) NORQ_REQUIRES(lock);
    void writeLine(std::size_t level, std::u16string_view text) NORQ_REQUIRES(lock);

    Lock lock;
    const std::shared_ptr<Preferences> node;
    const WString filename;
    LockedFile lockedFile NORQ_GUARDED_BY(lock);
    bool writeTree NORQ_GUARDED_BY(lock) = false;
};

} // namespace norq_std
