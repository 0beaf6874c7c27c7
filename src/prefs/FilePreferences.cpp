#include "prefs/FilePreferences.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "config/ConfigurationChangeEvent.h"
#include "exception/NorqException.h"
#include "file/DirectoryFilter.h"
#include "internal/PathElement.h"
#include "platform/CoarseClock.h"
#include "platform/DirectoryHold.h"
#include "platform/Error.h"
#include "platform/FileSystem.h"
#include "prefs/FilePreferencesConfig.h"
#include "prefs/PreferenceChangeEvent.h"
#include "prefs/PreferenceChangeNotifier.h"
#include "system/NorqSystem.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <string_view>
#include <thread>

namespace norq_std {

namespace platform = norq_std_internal::platform;
using platform::DirectoryHold;

namespace {

constexpr WChar FileName[] = u"prefs.cfg";
constexpr WChar SystemRootVariable[] = u"NORQSTD_PREFS_SYSTEM_ROOT";
constexpr std::chrono::milliseconds SaveHoldLimit(10'000); // many times what a save takes
constexpr std::chrono::milliseconds ReadHoldLimit(1'000);  // a reading can do without
constexpr std::int32_t QuestionsAMoment = 16;              // to the file system; more in one moment get the last answer
constexpr int Attempts = 400;
constexpr std::chrono::milliseconds AttemptDelay(5);

/// Whether a name, in which backslashes separate as in every path, leads below the directory that it is joined to, and
/// not to the file of the keys.
bool isNodePath(std::u16string_view path) {
    for (std::size_t start = 0; start <= path.size();) {
        const std::size_t end = std::min(path.find_first_of(u"/\\", start), path.size());
        const std::u16string_view element = path.substr(start, end - start);
        if (element.empty() || element == FileName || !norq_std_internal::isListedName(element))
            return false;
        start = end + 1;
    }
    return true;
}

const WString& checkedName(const WString& name) {
    if (!name.empty() && !isNodePath(name))
        throw NorqIllegalArgumentException(u"Name <" + name + u"> cannot be the name of a file.");
    return name;
}

void checkText(const WString& text, const WChar* label) {
    if (std::any_of(text.begin(), text.end(), [](WChar unit) { return unit == u'\n' || unit == u'\r' || unit == 0; }))
        throw NorqIllegalArgumentException(label + WString(u" holds a line break or a zero character."));
}

/// Does the step again while somebody else holds the file, which is mostly over at once.
template <class Step>
void untilFileIsFree(const Step& step) {
    for (int attempt = 1;; ++attempt) {
        try {
            step();
            return;
        } catch (const NorqIOException& failure) {
            if (failure.getErrNum() != norq_std_internal::platform::SharingViolation || attempt == Attempts)
                throw;
        }
        std::this_thread::sleep_for(AttemptDelay);
    }
}

WString systemRootPath() {
    const WString path = NorqSystem::getInstance().getEnv(SystemRootVariable);
    return (path.empty() ? File::getRootDirectory() : File(path)).getCanonicalPath();
}

} // namespace

struct FilePreferences::Roots {
    Lock lock;
    std::array<std::atomic<bool>, 2> isMade{};
    std::array<std::shared_ptr<Preferences>, 2> nodes; // written once, before isMade
};

const WChar* const FilePreferences::USER_ROOT_STR = u"USER_ROOT";
const WChar* const FilePreferences::SYSTEM_ROOT_STR = u"SYSTEM_ROOT";

// Never destroyed: threads may use nodes while the process ends.
WString& FilePreferences::USER_ROOT_PATH = *new WString;
WString& FilePreferences::SYSTEM_ROOT_PATH = *new WString;

FilePreferences::MergeVisitor::MergeVisitor(Configuration* mergedConfiguration)
    : configuration(mergedConfiguration) {}

void FilePreferences::MergeVisitor::visitElement(const ConfigurationElement&) {}

void FilePreferences::MergeVisitor::visitSection(const ConfigurationSection& section) {
    configuration->addSection(section);
}

// ---- roots and nodes

FilePreferences::Roots& FilePreferences::roots() {
    static Roots& theRoots = *new Roots;
    return theRoots;
}

void FilePreferences::loadNativeHandlePaths() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FilePreferences::loadNativeHandlePaths");
    const AutoLock<Lock> guard(roots().lock);
    if (!USER_ROOT_PATH.empty())
        return;
    try {
        SYSTEM_ROOT_PATH = systemRootPath();
    } catch (const NorqException& failure) {
        NORQ_LOG(DEBUG, u"norq_std::FilePreferences::loadNativeHandlePaths",
                 u"Unable to set system root path: %ls. Defaults to /.", failure.getMessage());
        SYSTEM_ROOT_PATH = u"/";
    }
    try {
        USER_ROOT_PATH = File::getUserDirectory().getCanonicalPath();
    } catch (const NorqException& failure) {
        NORQ_LOG(DEBUG, u"norq_std::FilePreferences::loadNativeHandlePaths",
                 u"Unable to set user root path: %ls. Defaults to /.", failure.getMessage());
        USER_ROOT_PATH = u"/";
    }
}

std::shared_ptr<Preferences> FilePreferences::getRoot(RootType rootType) {
    Roots& all = roots();
    if (!all.isMade[rootType].load(std::memory_order_acquire)) {
        const AutoLock<Lock> guard(all.lock);
        if (!all.isMade[rootType].load(std::memory_order_relaxed)) {
            loadNativeHandlePaths();
            all.nodes[rootType].reset(new FilePreferences(rootType, WString()));
            all.isMade[rootType].store(true, std::memory_order_release);
        }
    }
    return all.nodes[rootType];
}

std::shared_ptr<Preferences> FilePreferences::getUserRoot() { return getRoot(USER); }

std::shared_ptr<Preferences> FilePreferences::getSystemRoot() { return getRoot(SYSTEM); }

FilePreferences::FilePreferences(RootType rootType, const WString& name)
    : AbstractPreferences(nullptr, name)
    , type(rootType)
    , directory(rootType == USER ? USER_ROOT_PATH : SYSTEM_ROOT_PATH)
    , prefsFile(directory.getCanonicalFile(), FileName)
    , prefsPath(prefsFile.getCanonicalPath())
    , config(std::make_unique<NodeConfig>(*this, prefsPath)) {
    open();
}

FilePreferences::FilePreferences(const std::shared_ptr<FilePreferences>& parent, const WString& name)
    : AbstractPreferences(parent, name)
    , type(parent->type)
    , directory(buildFilePath(*parent, checkedName(name)))
    , prefsFile(directory.getCanonicalFile(), FileName)
    , prefsPath(prefsFile.getCanonicalPath())
    , config(std::make_unique<NodeConfig>(*this, prefsPath)) {
    open();
}

FilePreferences::~FilePreferences() = default;

WString FilePreferences::buildFilePath(const FilePreferences& parent, const WString& name) {
    return (parent.type == USER ? USER_ROOT_PATH : SYSTEM_ROOT_PATH) + parent.absolutePath() + SLASH + name;
}

void FilePreferences::open() {
    const AutoLock<Lock> guard(lock);
    newNode = !directory.exists();
    if (newNode && !directory.mkdirs() && !directory.isDirectory())
        NORQ_LOG(DEBUG, u"norq_std::FilePreferences::FilePreferences", u"Unable to create directory <%ls>.",
                 directory.getPath());
    loadConfigFile();
}

std::shared_ptr<AbstractPreferences> FilePreferences::childSpi(const WString& childName) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FilePreferences::childSpi");
    return std::shared_ptr<FilePreferences>(
        new FilePreferences(std::static_pointer_cast<FilePreferences>(shared_from_this()), childName));
}

bool FilePreferences::existsSpi(const WString& path) const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FilePreferences::existsSpi");
    return isNodePath(path) && File(directory, path).exists();
}

std::vector<WString> FilePreferences::childrenNamesSpi() const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FilePreferences::childrenNamesSpi");
    const AutoLock<Lock> guard(lock);
    std::vector<WString> names;
    if (directory.isDirectory())
        for (const File& child : directory.listFiles(DirectoryFilter()))
            names.push_back(child.getName());
    return names;
}

// ---- keys

bool FilePreferences::isPrefsFile() const {
    const std::int64_t moment = platform::coarseMoment();
    if (questions.moment != moment)
        questions = {moment, 0};
    if (questions.count == QuestionsAMoment)
        return true;
    platform::FileStatus status;
    if (!platform::fileStatus(prefsPath, status) || status.isDirectory())
        return false;
    ++questions.count;
    return true;
}

std::vector<WString> FilePreferences::keysSpi() const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FilePreferences::keysSpi");
    const AutoLock<Lock> guard(lock);
    std::vector<WString> found;
    if (isPrefsFile())
        for (WString& key : config->getKeys(Configuration::defaultSection))
            if (!config->getValue(key, Configuration::defaultSection).empty())
                found.push_back(std::move(key));
    return found;
}

WString FilePreferences::getSpi(const WString& key) const {
    const AutoLock<Lock> guard(lock);
    if (isPrefsFile())
        if (std::optional<WString> value = config->value(key))
            return *std::move(value);
    throw NorqObjectNotFoundException(u"File or key is not found.");
}

/// As the general one, without an exception for each absent key.
WString FilePreferences::get(const WString& key, const WString& defaultValue) const {
    static constexpr WChar Function[] = u"norq_std::FilePreferences::get";
    checkKey(key, Function);
    const AutoLock<Lock> guard(lock);
    assertNodeNotRemoved(Function);
    if (isPrefsFile())
        if (std::optional<WString> value = config->value(key))
            return *std::move(value);
    return defaultValue;
}

void FilePreferences::putSpi(const WString& key, const WString& value) {
    checkText(key, u"Key");
    checkText(value, u"Value");
    config->setValue(key, value, Configuration::defaultSection);
    unsaved.insert(key);
}

void FilePreferences::removeSpi(const WString& key) {
    const AutoLock<Lock> guard(lock);
    unsaved.insert(key);
    config->removeValue(key, Configuration::defaultSection);
}

// ---- the file

void FilePreferences::loadConfigFile() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FilePreferences::loadConfigFile");
    const AutoLock<Lock> guard(lock);
    if (!prefsFile.canRead())
        return;
    try {
        untilFileIsFree([this] { config->load(); });
        isLoaded = true;
    } catch (const NorqException& failure) {
        NORQ_LOG(DEBUG, u"norq_std::FilePreferences::loadConfigFile", u"Unable to load configuration: %ls.",
                 failure.getMessage());
    }
}

void FilePreferences::loadAndMerge() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FilePreferences::loadAndMerge");
    const AutoLock<Lock> guard(lock);
    if (!prefsFile.canRead())
        return;
    try {
        ConfigurationFile merged(prefsFile, nullptr);
        untilFileIsFree([&merged] { merged.load(); });
        MergeVisitor visitor(&merged);
        config->visit(visitor);
        for (const ConfigurationSection& section : merged.copySections())
            config->addSection(section);
        isLoaded = true;
    } catch (const NorqException& failure) {
        NORQ_LOG(DEBUG, u"norq_std::FilePreferences::loadAndMerge", u"Unable to reload configuration: %ls.",
                 failure.getMessage());
    }
}

/// Against every other process that saves this node. A directory that is not there is made; one that cannot be had is
/// for the save to tell of.
DirectoryHold FilePreferences::holdForWriting() const {
    const WString path = directory.getCanonicalPath();
    DirectoryHold hold(path, DirectoryHold::Mode::Exclusive, SaveHoldLimit);
    if (!hold.isHeld() && !directory.exists() && directory.mkdirs())
        hold = DirectoryHold(path, DirectoryHold::Mode::Exclusive, SaveHoldLimit);
    if (!hold.isHeld() && platform::lastError() == platform::SharingViolation)
        throw NorqIOException(u"Directory <" + path + u"> is held by another process.", platform::SharingViolation);
    return hold;
}

void FilePreferences::save(bool merges) {
    const AutoLock<Lock> guard(lock);
    try {
        const DirectoryHold hold = holdForWriting();
        if (merges) { // a removed key that the file has is back
            loadAndMerge();
        } else if (!isLoaded) {
            const UnsavedValues mine = unsavedValues();
            loadAndMerge();
            restore(mine);
        }
        untilFileIsFree([this] { config->save(); });
        unsaved.clear();
    } catch (const NorqException& failure) {
        throw NorqBackingStoreException(
            u"Unable to save Preferences information for " + config->getPath().getAbsolutePath(), failure);
    }
}

FilePreferences::UnsavedValues FilePreferences::unsavedValues() const {
    const AutoLock<Lock> guard(lock);
    UnsavedValues values;
    for (const WString& key : unsaved)
        values.emplace(key, config->value(key));
    return values;
}

void FilePreferences::restore(const UnsavedValues& values) {
    const AutoLock<Lock> guard(lock);
    for (const auto& [key, value] : values)
        if (value)
            config->setValue(key, *value, Configuration::defaultSection);
        else
            config->removeValue(key, Configuration::defaultSection);
}

void FilePreferences::flushSpi() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FilePreferences::flushSpi");
    if (!isRemoved())
        save(false);
}

void FilePreferences::syncSpi() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FilePreferences::syncSpi");
    if (!isRemoved())
        save(true);
}

void FilePreferences::removeNodeSpi() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FilePreferences::removeNodeSpi");
    const AutoLock<Lock> guard(lock);
    if (directory.isDirectory()) {
        const DirectoryHold hold(directory.getCanonicalPath(), DirectoryHold::Mode::Exclusive, SaveHoldLimit);
        if (!directory.rmdirs()) {
            const NorqBackingStoreException exception(u"Unable to remove node " + directory.getCanonicalPath());
            exception.logDebug(u"norq_std::FilePreferences::removeNodeSpi");
            throw NorqBackingStoreException(exception);
        }
    }
    unsaved.clear();
    // The listeners hear of each key, and nothing more: the file is not followed any longer.
    config->removeSection(Configuration::defaultSection);
    isFollowed = false;
    config->removeConfigurationListener(std::static_pointer_cast<FilePreferences>(shared_from_this()));
}

// ---- changes

WString FilePreferences::buildListenerPath() const {
    return (type == USER ? USER_ROOT_STR : SYSTEM_ROOT_STR) + absolutePath();
}

void FilePreferences::addPreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>& listener) {
    static constexpr WChar Function[] = u"norq_std::FilePreferences::addPreferenceChangeListener";
    NORQ_LOG_FUNCTION_CALL(Function);
    ErrorUtils::isNullEx(listener, Function, u"Listener");
    const AutoLock<Lock> guard(lock);
    assertNodeNotRemoved(Function);
    isFollowed = true;
    config->addConfigurationListener(std::static_pointer_cast<FilePreferences>(shared_from_this()));
    PreferenceChangeNotifier::getInstance().addPreferenceChangeListener(buildListenerPath(), listener);
}

void FilePreferences::removePreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>& listener) {
    static constexpr WChar Function[] = u"norq_std::FilePreferences::removePreferenceChangeListener";
    NORQ_LOG_FUNCTION_CALL(Function);
    ErrorUtils::isNullEx(listener, Function, u"Listener");
    PreferenceChangeNotifier& notifier = PreferenceChangeNotifier::getInstance();
    const WString path = buildListenerPath();
    const AutoLock<Lock> guard(lock);
    notifier.removePreferenceChangeListener(path, listener); // of a removed node too: nothing of it is left behind
    assertNodeNotRemoved(Function);
    if (notifier.getNumberOfListeners(path) != 0)
        return;
    isFollowed = false;
    config->removeConfigurationListener(std::static_pointer_cast<FilePreferences>(shared_from_this()));
}

void FilePreferences::onConfigChange(const ConfigurationChangeEvent& event) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FilePreferences::onConfigChange");
    if (event.getSection() != Configuration::defaultSection)
        return; // no key of the node
    const AutoLock<Lock> guard(lock);
    PreferenceChangeNotifier::getInstance().enqueuePreferenceChangeEvent(
        PreferenceChangeEvent::newInstance(std::static_pointer_cast<FilePreferences>(shared_from_this()),
                                           buildListenerPath(), event.getKey(), event.getValue()));
}

void FilePreferences::followFile(bool deleted) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FilePreferences::followFile");
    const AutoLock<Lock> guard(lock);
    if (!isFollowed) // the watcher had begun to tell when the last listener went
        return;
    // No process that saves holds the file meanwhile.
    const DirectoryHold hold(directory.getCanonicalPath(), DirectoryHold::Mode::Shared, ReadHoldLimit);
    config->follow(deleted, unsavedValues());
}

} // namespace norq_std
