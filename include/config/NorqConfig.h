#pragma once

#include "config/ConfigurationChangeEvent.h"
#include "config/ConfigurationFile.h"
#include "file/IFileListener.h"

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string_view>

namespace norq_std_internal {
class ConfigFileRelay;
}

namespace norq_std {

class ConfigurationListener;

/// A configuration file that stays true to its file while the process runs, and tells listeners of each key that
/// changes, whether through this object or in the file.
///
/// It does not load by itself: call `load` first, then add listeners. The file is watched only while there are
/// listeners. When it changes, it is read anew on the thread of the `FileWatcher`, differences are told, and the
/// content is replaced, comments and layout included; a file that disappears is empty. A file that cannot be read is
/// tried five times within a second; after that the old content stands.
///
/// Listeners are called in the order of adding, without the lock, except by `addSection`. What a listener throws goes
/// to whoever made the change. A change made here while the file is being read anew may be overwritten by what it
/// holds.
///
/// The destructor ends the watching. A reload that runs at that moment on the watcher's thread is waited for, so the
/// destructor must not be called under a lock that a listener takes, nor from a listener of this object.
class NORQSTD_EXPORT NorqConfig : public ConfigurationFile, public IFileListener {
public:
    /// With a serializer of its own for `defaultCharset`.
    explicit NorqConfig(const WString& path = WString());
    NorqConfig(const NorqConfig&) = delete;
    NorqConfig& operator=(const NorqConfig&) = delete;
    ~NorqConfig() override;

    WString toString() const override;

    /// Ignores null, and a listener that is there. The first one starts the watching.
    void addConfigurationListener(const std::shared_ptr<ConfigurationListener>& listener);
    /// The last one ends the watching. It may still be called once, if a change was being told.
    void removeConfigurationListener(const std::shared_ptr<ConfigurationListener>& listener);
    /// Watches the file at the path that is set now, if there are listeners. A directory that cannot be watched is a
    /// line of debug log; the file is then not followed until the path is set again.
    void updateListenerPath();

    // These tell the listeners. A value that is there already is no change.

    void setValue(const WString& key, const WString& value, const WString& section) override;
    /// The keys of the section alone, each as by `setValue`, under the lock.
    void addSection(const ConfigurationSection& section) override;
    /// The events carry the old values.
    bool removeSection(const WString& section) override;
    void setPath(const File& newPath) override;
    /// True if the key was there. The event has no value.
    virtual bool removeValue(const WString& key, const WString& section);

    void onFileDeleted(const File& file) override;
    void onFileCreated(const File& file) override;
    void onFileContentChange(const File& file) override;

protected:
    bool hasConfigurationListener(const std::shared_ptr<ConfigurationListener>& listener) const;
    void notifyListeners(const ConfigurationChangeEvent& event);
    /// What changes from this configuration to the other: first the changed and removed keys in the order here, with
    /// the new and the old value, then the added ones in the order there.
    std::list<ConfigurationChangeEvent> getChangeEvents(const Configuration& other);
    /// Follows the file, or its disappearance.
    void checkFileForChanges(bool deleted);
    /// The same with what was read amended before it is compared: what the caller holds on to is then no change.
    void checkFileForChanges(bool deleted, const std::function<void(Configuration&)>& amend);
    /// Ends the watching for good, and waits for a reload that runs. A derived class does this in its own destructor:
    /// the watcher calls virtual functions, and what it overrides is gone when this destructor runs.
    void endWatching();

private:
    enum class Assignment : std::uint8_t { Same, Added, Changed };

    /// The value that the section, which may be null, has for the key.
    static std::optional<norq_std_internal::PackedView> valueIn(const ConfigurationSection* section,
                                                                std::u16string_view trimmedKey);
    bool hasListeners() const;
    bool isListener(const std::shared_ptr<ConfigurationListener>& listener) const NORQ_REQUIRES(lock);
    /// Sets the value, and says what became of the key.
    Assignment assign(const WString& key, const WString& value, const WString& section) NORQ_REQUIRES(lock);
    void notifyAssignment(Assignment assignment, const WString& key, const WString& value, const WString& section);
    /// Loads the file, again after a while if that fails; false if it fails for good.
    static bool loadPatiently(ConfigurationFile& file);

    std::list<std::shared_ptr<ConfigurationListener>> listeners NORQ_GUARDED_BY(lock);
    // Registered with the watcher in place of this object, which may be gone when the watcher gets to calling it.
    const std::shared_ptr<norq_std_internal::ConfigFileRelay> relay;
};

} // namespace norq_std
