#pragma once

#include "base/Object.h"
#include "concurrency/Lock.h"

#include <cstddef>
#include <memory>

namespace norq_std_internal {
class PreferencesXmlReaderImpl;
}

namespace norq_std {

/// Puts what an XML file of preferences holds into the tree of the user or the system.
///
/// `Preferences::importPreferences` is the usual way. An import adds to the tree and overwrites equal keys; it removes
/// nothing. The file is read and parsed whole before anything is put; then each entry is put and flushed by itself, so
/// what was read before a failure stays. An entry or node that somebody removes meanwhile is left out, with all below
/// it.
///
/// The file may come from anybody: nothing that it names is loaded, no entity of its own is expanded, and one that is
/// larger, deeper or stranger than the limits below is refused like one that is not well-formed. docs/preferences.md
/// describes the format.
///
/// Any thread may call; one import runs at a time.
class NORQSTD_EXPORT PreferencesXmlReader : public Object {
public:
    /// Bytes of a file. Reading one takes up to about 40 times as much memory.
    static constexpr std::size_t MAX_FILE_SIZE = 64 * 1024 * 1024;
    /// Levels of nodes below the root.
    static constexpr std::size_t MAX_DEPTH = 1000;
    /// Units of the absolute paths of all nodes of a file together, since each node of a tree keeps its path.
    static constexpr std::size_t MAX_PATHS_LENGTH = 64 * 1024 * 1024;

    /// Throws `NorqIllegalArgumentException` for an empty name.
    explicit PreferencesXmlReader(const WString& inputFilename);
    PreferencesXmlReader(const PreferencesXmlReader&) = delete;
    PreferencesXmlReader& operator=(const PreferencesXmlReader&) = delete;
    ~PreferencesXmlReader() override;

    WString toString() const override;

    /// Throws `NorqInvalidPreferencesFormatException` for what is not of the format, with the parser's finding as
    /// cause; `NorqIOException` if the file cannot be read, and what the store throws.
    virtual void importPreferences();

private:
    WString readText() const NORQ_REQUIRES(lock);

    Lock lock;
    const WString filename;
    const std::unique_ptr<norq_std_internal::PreferencesXmlReaderImpl> impl NORQ_GUARDED_BY(lock);
};

} // namespace norq_std
