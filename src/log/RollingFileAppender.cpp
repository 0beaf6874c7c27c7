#include "log/RollingFileAppender.h"

#include "base/EncodingUtils.h"
#include "base/Functor.h"
#include "base/LogMacros.h"
#include "base/StaticLogConstants.h"
#include "base/StringUtils.h"
#include "config/ConfigurationChangeEvent.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "internal/LogRoad.h"
#include "log/NorqLoggerSTD.h"
#include "log/WindowsVersionInfoHeader.h"
#include "system/Paths.h"

#include <algorithm>

namespace norq_std {

using norq_std_internal::LogRoad;

namespace {

constexpr std::chrono::seconds BETWEEN_ATTEMPTS{1};

WString valueOf(const Configurable::Properties& properties, const WChar* key) {
    const auto found = properties.find(key);
    return found == properties.end() ? WString() : found->second;
}

std::uint32_t sizeFrom(const WString& text) {
    return static_cast<std::uint32_t>(std::max(StringUtils::convertSizeString(text, RollingFileAppender::MinFileSize),
                                               RollingFileAppender::MinFileSize));
}

std::uint32_t filesFrom(const WString& text) {
    return static_cast<std::uint32_t>(
        std::max(StringUtils::convertSizeString(text, RollingFileAppender::MinFiles), RollingFileAppender::MinFiles));
}

WString withoutQuotes(WString path) {
    if (path.starts_with(u'"'))
        path.erase(0, 1);
    if (path.ends_with(u'"'))
        path.pop_back();
    return path;
}

File logFile(const WString& path, bool debugFile) {
    const WString folder = Paths::getInstance()->getPath(u"System Log Path Key", u"../log");
    if (path.empty())
        return File(folder, StaticLog::getModuleName() + (debugFile ? u".dbg" : u".log"));
    const WString bare = withoutQuotes(path);
    const File file(bare);
    return file.isAbsolute() || bare.find_first_of(u"/\\") != bare.npos ? file : File(folder, bare);
}

} // namespace

RollingFileAppender::RollingFileAppender()
    : ILogAppender(nullptr, nullptr)
    , header(std::make_shared<WindowsVersionInfoHeader>()) {
    rollingFile.addHeader(header);
    StaticLog::addConfigurationListener(std::shared_ptr<ConfigurationListener>(this, null_deleter()));
}

RollingFileAppender::~RollingFileAppender() {
    StaticLog::removeConfigurationListener(std::shared_ptr<ConfigurationListener>(this, null_deleter()));
}

WString RollingFileAppender::toString() const { return u"RollingFileAppender{}"; }

WString RollingFileAppender::getClassName() const { return u"norq_std.RollingFileAppender"; }

RollingFileAppender* RollingFileAppender::newInstance(const Properties& properties) const {
    auto appender = std::make_unique<RollingFileAppender>();
    appender->setupInstance(properties);
    return appender.release();
}

void RollingFileAppender::setupInstance(const Properties& properties) {
    alwaysOpen = valueOf(properties, u"always_open") == u"true";
    debugFile = valueOf(properties, u"layout.debug") == u"true";
    const WString path = logFile(valueOf(properties, u"path"), debugFile).getCanonicalPath();
    if (path.empty())
        return;
    const File file(path);
    file.getParentFile().mkdirs();
    NORQ_LOG(DEBUG, u"norq_std::RollingFileAppender::setupInstance", u"Using logfile: %ls", path);
    rollingFile.setFilePath(file);
    rollingFile.setMaximumFiles(filesFrom(valueOf(properties, u"files")));
    rollingFile.setMaximumSize(sizeFrom(valueOf(properties, u"size")));
    if (!debugFile || alwaysOpen || StaticLog::getThreshold() < INFO)
        setWanted(true);
}

void RollingFileAppender::localAppend(const LogEvent&) {}

void RollingFileAppender::localAppend(const WString& text) {
    try {
        if (!isOpenOrReopened())
            return;
        const std::string bytes = EncodingUtils::convertUnicodeToMbcs(text, 0);
        rollingFile.write(reinterpret_cast<const unsigned char*>(bytes.data()), 0,
                          static_cast<std::uint32_t>(bytes.size()));
    } catch (const NorqException&) { // the line is lost
    }
}

bool RollingFileAppender::isOpenOrReopened() {
    if (rollingFile.isOpen())
        return true;
    if (!wanted || Clock::now() < nextAttempt)
        return false;
    setWanted(true);
    return rollingFile.isOpen();
}

void RollingFileAppender::setWanted(bool open) {
    wanted = open;
    if (!open)
        return rollingFile.close();
    if (rollingFile.isOpen())
        return;
    nextAttempt = Clock::now() + BETWEEN_ATTEMPTS;
    try {
        rollingFile.open();
    } catch (const NorqException& e) {
        NORQ_LOG(DEBUG, u"norq_std::RollingFileAppender::setWanted", u"Unable to open <%ls>: %ls",
                 rollingFile.getFilePath(), e.getMessage());
    }
}

void RollingFileAppender::setProperty(const WString& key, const WString& value) {
    constexpr const WChar* function = u"norq_std::RollingFileAppender::setProperty";
    if (key == u"size") {
        const std::uint32_t size = sizeFrom(value);
        if (size != rollingFile.getMaximumSize()) {
            rollingFile.setMaximumSize(size);
            NorqLoggerSTD::getInstance().STD0009(function, size);
        }
    } else if (key == u"files") {
        const std::uint32_t files = filesFrom(value);
        if (files != rollingFile.getMaximumFiles()) {
            rollingFile.setMaximumFiles(files);
            NorqLoggerSTD::getInstance().STD0010(function, files);
        }
    } else if (key == u"always_open") {
        alwaysOpen = value == u"true";
    } else {
        ILogAppender::setProperty(key, value);
    }
}

void RollingFileAppender::onConfigChange(const ConfigurationChangeEvent& event) {
    if (debugFile && event.getSection() == StaticLogConstants::debugSection &&
        event.getKey() == StaticLogConstants::threshold)
        LogRoad::whileHeld([&] { followThreshold(event); });
}

void RollingFileAppender::followThreshold(const ConfigurationChangeEvent& event) {
    if (event.getEventType() == ConfigurationChangeEvent::Removed)
        return setWanted(false);
    setWanted(alwaysOpen || logEventPriorityFromString(event.getValue(), INFO) < INFO);
}

} // namespace norq_std
