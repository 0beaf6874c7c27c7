// Any bytes as the `.cfg` of a log, and behind a line "---" as the file that an editor made of it: the appenders are
// made as at the start of a process, lines are logged, each changed key is told as to a running one. Nothing is thrown,
// the threshold is that of the file, and no file comes to lie outside the log folder.
#include "base/StaticLog.h"
#include "config/Configuration.h"
#include "config/ConfigurationChangeEvent.h"
#include "config/IniConfigurationSerializer.h"
#include "log/LoggerBase.h"
#include "log/StaticLogConfig.h"
#include "log/StaticLogFactory.h"
#include "stream/ByteArray.h"
#include "system/Paths.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

namespace fs = std::filesystem;
using namespace norq_std;

void require(bool holds) {
    if (!holds)
        std::abort();
}

/// The temporary folder, with what the log is told at its start.
class Folder {
public:
    Folder() {
        std::string name = (fs::temp_directory_path() / "norqstd-fuzz-XXXXXX").string();
        require(mkdtemp(name.data()) != nullptr);
        root = name;
        fs::create_directories(root / "config");
        Paths::getInstance()->setPath(u"System Config Path Key", (root / "config").u16string());
        Paths::getInstance()->setPath(u"System Log Path Key", log().u16string());
    }
    ~Folder() { fs::remove_all(root); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    fs::path config() const { return root / "config" / "fuzz.cfg"; }
    fs::path log() const { return root / "log"; }
    /// Nothing but what belongs here.
    void check() const {
        const auto count = [](const fs::path& in) { return std::distance(fs::directory_iterator(in), {}); };
        require(count(root) == 2 && count(root / "config") == 1);
    }

private:
    fs::path root;
};

/// No path leads out of the folder.
std::string confined(std::string text) {
    for (char& c : text)
        if (c == '/' || c == '\\' || c == ':')
            c = '_';
    return text;
}

std::shared_ptr<Configuration> parse(const std::string& text) {
    return IniConfigurationSerializer(u"windows-1252").deserialize(ByteArray(text));
}

LogEventPriority thresholdOf(const Configuration& configuration) {
    return logEventPriorityFromString(configuration.getValue(u"Threshold", u"Debug Log"), INFO);
}

void tellChanges(StaticLogConfig& log, const Configuration& before, const Configuration& after) {
    using Change = ConfigurationChangeEvent;
    const auto tell = [&](Change::ChangeType type, const WString& section, const WString& key, const WString& value) {
        log.onConfigChange(Change(File(), type, section, key, value));
    };
    for (const WString& section : before.getSectionNames())
        for (const WString& key : before.getKeys(section))
            if (!after.containsKey(key, section))
                tell(Change::Removed, section, key, {});
    for (const WString& section : after.getSectionNames())
        for (const WString& key : after.getKeys(section))
            if (const WString value = after.getValue(key, section); !before.containsKey(key, section))
                tell(Change::Added, section, key, value);
            else if (value != before.getValue(key, section))
                tell(Change::Changed, section, key, value);
}

void logLines(LoggerBase& logger) {
    for (const LogEventPriority priority : {DUMP, CALL, INFO, FATAL})
        logger.log(priority, u"f", u"A line, and \x4E2D which the log's encoding lacks.", u"fuzz", u"F0001", 7,
                   u"f.cpp", 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Folder folder;
    const std::string text = confined(std::string(data, data + size));
    const std::size_t cut = text.find("\n---\n");
    const std::string first = text.substr(0, cut);
    std::ofstream(folder.config(), std::ios::binary) << first;
    fs::create_directory(folder.log());
    std::ofstream(folder.log() / "fuzz0001.log").close(); // nearly full: the next lines roll it
    fs::resize_file(folder.log() / "fuzz0001.log", 1024 * 1024 - 100);
    {
        StaticLogConfig log;
        log.initialize(u"fuzz");
        const auto before = parse(first);
        require(StaticLog::getThreshold() == thresholdOf(*before));
        LoggerBase logger;
        for (const auto& [name, appender] : log.getAppenders()) {
            require(StaticLogFactory::getInstance().getAppender(name) == appender);
            logger.addAppender(appender);
        }
        logLines(logger);
        if (cut != text.npos) {
            const auto after = parse(text.substr(cut + 5));
            tellChanges(log, *before, *after);
            require(StaticLog::getThreshold() == thresholdOf(*after));
            logLines(logger);
        }
        for (const auto& [name, appender] : log.getAppenders())
            StaticLogFactory::getInstance().removeAppender(name);
    }
    folder.check();
    fs::remove_all(folder.log());
    return 0;
}
