#pragma once

#include "config/ConfigurationListener.h"
#include "config/ConfigurationVisitor.h"
#include "file/File.h"
#include "prefs/AbstractPreferences.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <unordered_set>

namespace norq_std_internal::platform {
class DirectoryHold;
}

namespace norq_std {

class Configuration;

/// Preferences in files: a node is a directory, its keys are the default section of the file `prefs.cfg` in it.
///
/// The user's tree begins in the user directory (`File::getUserDirectory`), the system's in the directory that the
/// environment variable `NORQSTD_PREFS_SYSTEM_ROOT` names, else in the root directory (`File::getRootDirectory`). Both
/// are settled when the first root is asked for. A name must be one that a file can have, and the whole path of a node
/// is bounded as every path of a `File`.
///
/// What is put is in memory until `flush` or `sync`; while the node has no file at all, `get` does not see it. A file
/// that somebody deletes is missed at once, or within some milliseconds by a node that is read in quick succession.
/// Where memory and file both have a key, memory wins. Processes that sync the same node at once lose no key to each
/// other: reading, merging and saving is one step among them. A file is replaced whole, see `ConfigurationFile::save`.
///
/// While a node has listeners, its file is followed: what others write is taken over and told. The listeners are called
/// on the thread of `PreferenceChangeNotifier`.
class NORQSTD_EXPORT FilePreferences : public AbstractPreferences, public ConfigurationListener {
public:
    enum RootType : std::uint32_t { USER = 0, SYSTEM = 1 };

    /// Adds each section that it is shown to a configuration, which must outlive it.
    class NORQSTD_EXPORT MergeVisitor : public ConfigurationVisitor {
    public:
        explicit MergeVisitor(Configuration* mergedConfiguration);

        void visitElement(const ConfigurationElement& element) override;
        void visitSection(const ConfigurationSection& section) override;

    private:
        Configuration* configuration;
    };

    static const WChar* const USER_ROOT_STR;
    static const WChar* const SYSTEM_ROOT_STR;

    static std::shared_ptr<Preferences> getUserRoot();
    static std::shared_ptr<Preferences> getSystemRoot();

    ~FilePreferences() override;

    void addPreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>& listener) override;
    void removePreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>& listener) override;
    WString buildListenerPath() const override;
    WString get(const WString& key, const WString& defaultValue) const override;

    void onConfigChange(const ConfigurationChangeEvent& event) override;

protected:
    std::vector<WString> childrenNamesSpi() const override;
    std::shared_ptr<AbstractPreferences> childSpi(const WString& childName) override;
    bool existsSpi(const WString& path) const override;
    std::vector<WString> keysSpi() const override;
    WString getSpi(const WString& key) const override;
    /// Throws `NorqIllegalArgumentException` for what a file cannot keep apart from its neighbours: a line break or a
    /// zero unit, and a key of nothing but white space.
    void putSpi(const WString& key, const WString& value) override NORQ_REQUIRES(lock);
    void removeSpi(const WString& key) override;
    void flushSpi() override;
    void syncSpi() override;
    void removeNodeSpi() override;

private:
    class NodeConfig;
    struct Roots;
    /// No value: removed.
    using UnsavedValues = std::map<WString, std::optional<WString>>;
    /// How often within a moment the file system said that the file is there.
    struct FileQuestions {
        std::int64_t moment = 0;
        std::int32_t count = 0;
    };

    FilePreferences(RootType rootType, const WString& name);
    FilePreferences(const std::shared_ptr<FilePreferences>& parent, const WString& name);

    static Roots& roots();
    static std::shared_ptr<Preferences> getRoot(RootType rootType);
    static void loadNativeHandlePaths();
    static WString buildFilePath(const FilePreferences& parent, const WString& name);

    void open();
    bool isPrefsFile() const NORQ_REQUIRES(lock);
    void loadConfigFile();
    void loadAndMerge();
    void save(bool merges);
    UnsavedValues unsavedValues() const;
    void restore(const UnsavedValues& values);
    norq_std_internal::platform::DirectoryHold holdForWriting() const;
    /// Takes over what the file holds, or its disappearance. On the thread of the `FileWatcher`.
    void followFile(bool deleted);

    static WString& USER_ROOT_PATH;
    static WString& SYSTEM_ROOT_PATH;

    const RootType type;
    const File directory;
    const File prefsFile;
    const WString prefsPath; // canonical, of the file
    bool isLoaded NORQ_GUARDED_BY(lock) = false;
    bool isFollowed NORQ_GUARDED_BY(lock) = false;
    // The keys that were put or removed and not yet saved: a reading of the file must not undo that.
    std::unordered_set<WString> unsaved NORQ_GUARDED_BY(lock);
    mutable FileQuestions questions NORQ_GUARDED_BY(lock);
    const std::unique_ptr<NodeConfig> config; // has a lock of its own, always taken second
};

} // namespace norq_std
