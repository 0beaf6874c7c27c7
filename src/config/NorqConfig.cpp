#include "config/NorqConfig.h"

#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "config/ConfigurationListener.h"
#include "config/IniConfigurationSerializer.h"
#include "exception/NorqException.h"
#include "file/FileWatcher.h"
#include "internal/ConfigFileRelay.h"
#include "internal/Trim.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace norq_std {

using norq_std_internal::LineList;
using norq_std_internal::PackedView;
using norq_std_internal::trimmed;
using norq_std_internal::trimmedRight;

namespace {

constexpr int ATTEMPTS = 5;
constexpr std::chrono::milliseconds ATTEMPT_DELAY(100); // more by this much before each

} // namespace

ConfigurationListener::~ConfigurationListener() = default;

NorqConfig::NorqConfig(const WString& file)
    : ConfigurationFile(File(file),
                        std::make_shared<IniConfigurationSerializer>(ConfigurationSerializer::defaultCharset))
    , relay(std::make_shared<norq_std_internal::ConfigFileRelay>(*this)) {}

NorqConfig::~NorqConfig() { endWatching(); }

void NorqConfig::endWatching() {
    FileWatcher::removeListener(relay);
    relay->detach();
}

WString NorqConfig::toString() const { return u"NorqConfig{path='" + getPath().getPath() + u"'}"; }

void NorqConfig::addConfigurationListener(const std::shared_ptr<ConfigurationListener>& listener) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqConfig::addConfigurationListener");
    const AutoLock<Lock> guard(lock);
    if (listener == nullptr || isListener(listener))
        return;
    listeners.push_back(listener);
    if (listeners.size() == 1)
        updateListenerPath();
}

void NorqConfig::removeConfigurationListener(const std::shared_ptr<ConfigurationListener>& listener) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqConfig::removeConfigurationListener");
    const AutoLock<Lock> guard(lock);
    listeners.remove(listener);
    if (listeners.empty())
        FileWatcher::removeListener(relay);
}

bool NorqConfig::hasConfigurationListener(const std::shared_ptr<ConfigurationListener>& listener) const {
    const AutoLock<Lock> guard(lock);
    return isListener(listener);
}

bool NorqConfig::isListener(const std::shared_ptr<ConfigurationListener>& listener) const {
    return std::find(listeners.begin(), listeners.end(), listener) != listeners.end();
}

bool NorqConfig::hasListeners() const {
    const AutoLock<Lock> guard(lock);
    return !listeners.empty();
}

void NorqConfig::updateListenerPath() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqConfig::updateListenerPath");
    const AutoLock<Lock> guard(lock);
    if (listeners.empty())
        return;
    const File file = getPath();
    FileWatcher::removeListener(relay);
    try {
        FileWatcher::addListener(relay, file);
    } catch (const NorqException& failure) {
        NORQ_LOG(DEBUG, u"norq_std::NorqConfig::updateListenerPath", u"Unable to start monitoring for <%ls>: <%ls>.",
                 file.getPath(), failure.getMessage());
    }
}

void NorqConfig::notifyListeners(const ConfigurationChangeEvent& event) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqConfig::notifyListeners");
    std::list<std::shared_ptr<ConfigurationListener>> called;
    {
        const AutoLock<Lock> guard(lock);
        called = listeners;
    }
    for (const auto& listener : called)
        listener->onConfigChange(event);
}

std::optional<PackedView> NorqConfig::valueIn(const ConfigurationSection* section, std::u16string_view trimmedKey) {
    return section == nullptr ? std::nullopt : section->elements.value(trimmedKey);
}

NorqConfig::Assignment NorqConfig::assign(const WString& key, const WString& value, const WString& section) {
    const std::optional<PackedView> old = valueIn(find(trimmed(section)), trimmed(key));
    if (old && *old == trimmedRight(value))
        return Assignment::Same;
    const Assignment assignment = old ? Assignment::Changed : Assignment::Added;
    Configuration::setValue(key, value, section);
    return assignment;
}

void NorqConfig::notifyAssignment(Assignment assignment, const WString& key, const WString& value,
                                  const WString& section) {
    if (assignment != Assignment::Same && hasListeners())
        notifyListeners(
            {getPath(),
             assignment == Assignment::Added ? ConfigurationChangeEvent::Added : ConfigurationChangeEvent::Changed,
             section, key, WString(trimmedRight(value))});
}

void NorqConfig::setValue(const WString& key, const WString& value, const WString& section) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqConfig::setValue");
    Assignment assignment = Assignment::Same;
    {
        const AutoLock<Lock> guard(lock);
        assignment = assign(key, value, section);
    }
    notifyAssignment(assignment, key, value, section);
}

void NorqConfig::addSection(const ConfigurationSection& section) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqConfig::addSection");
    const AutoLock<Lock> guard(lock);
    const ConfigurationSection given = section; // a listener may change the original
    const WString name = given.getName();
    given.elements.forEach([&](const LineList::Line& line) NORQ_NO_THREAD_SAFETY_ANALYSIS {
        const WString key = line.key.toString();
        const WString value = line.text.toString();
        if (!key.empty())
            notifyAssignment(assign(key, value, name), key, value, name);
    });
}

bool NorqConfig::removeSection(const WString& section) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqConfig::removeSection");
    ConfigurationSection removed;
    {
        const AutoLock<Lock> guard(lock);
        const ConfigurationSection* const present = find(trimmed(section));
        if (present == nullptr)
            return false;
        removed = *present;
        if (!Configuration::removeSection(section))
            return false;
    }
    removed.elements.forEach([&](const LineList::Line& line) {
        if (!line.key.empty())
            notifyListeners(
                {getPath(), ConfigurationChangeEvent::Removed, section, line.key.toString(), line.text.toString()});
    });
    return true;
}

bool NorqConfig::removeValue(const WString& key, const WString& section) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqConfig::removeValue");
    {
        const AutoLock<Lock> guard(lock);
        if (!containsKey(key, section) || !Configuration::removeKeyValue(key, section))
            return false;
    }
    if (hasListeners())
        notifyListeners({getPath(), ConfigurationChangeEvent::Removed, section, key, WString()});
    return true;
}

void NorqConfig::setPath(const File& newPath) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqConfig::setPath");
    ConfigurationFile::setPath(newPath);
    updateListenerPath();
}

void NorqConfig::onFileDeleted(const File&) { checkFileForChanges(true); }

void NorqConfig::onFileCreated(const File&) { checkFileForChanges(false); }

void NorqConfig::onFileContentChange(const File&) { checkFileForChanges(false); }

std::list<ConfigurationChangeEvent> NorqConfig::getChangeEvents(const Configuration& other) {
    const AutoLock<Lock> guard(lock);
    const AutoLock<Lock> otherGuard(other.lock);
    const File file = getPath();
    std::list<ConfigurationChangeEvent> events;
    const auto add = [&](ConfigurationChangeEvent::ChangeType type, const ConfigurationSection& section,
                         const PackedView& key, const PackedView& value) {
        events.emplace_back(file, type, section.getName(), key.toString(), value.toString());
    };
    for (const ConfigurationSection& section : sections) {
        const ConfigurationSection* const otherSection = other.find(section.nameView());
        section.elements.forEach([&](const LineList::Line& line) {
            const std::optional<PackedView> now = valueIn(otherSection, line.key.toString());
            if (line.key.empty() || now == line.text)
                return;
            if (now)
                add(ConfigurationChangeEvent::Changed, section, line.key, *now);
            else
                add(ConfigurationChangeEvent::Removed, section, line.key, line.text);
        });
    }
    for (const ConfigurationSection& otherSection : other.sections) {
        const ConfigurationSection* const section = find(otherSection.nameView());
        otherSection.elements.forEach([&](const LineList::Line& line) {
            if (!line.key.empty() && !valueIn(section, line.key.toString()))
                add(ConfigurationChangeEvent::Added, otherSection, line.key, line.text);
        });
    }
    return events;
}

bool NorqConfig::loadPatiently(ConfigurationFile& file) {
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        std::this_thread::sleep_for(attempt * ATTEMPT_DELAY);
        try {
            file.load();
            return true;
        } catch (const NorqException& failure) {
            NORQ_LOG(DEBUG, u"norq_std::NorqConfig::checkFileForChanges", u"Unable to load configuration: %ls",
                     failure.getMessage());
        }
    }
    NORQ_LOG(DEBUG, u"norq_std::NorqConfig::checkFileForChanges",
             u"Unable to load configuration after <%d> attempts, giving up.", ATTEMPTS);
    return false;
}

void NorqConfig::checkFileForChanges(bool deleted) {
    checkFileForChanges(deleted, [](Configuration&) {});
}

void NorqConfig::checkFileForChanges(bool deleted, const std::function<void(Configuration&)>& amend) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqConfig::checkFileForChanges");
    ConfigurationFile now(getPath(), getSerializer());
    if (!deleted && !loadPatiently(now))
        return;
    amend(now);
    const std::list<ConfigurationChangeEvent> events = getChangeEvents(now);
    exchangeSections(now);
    for (const ConfigurationChangeEvent& event : events)
        notifyListeners(event);
}

} // namespace norq_std
