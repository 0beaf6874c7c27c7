#include "config/ConfigurationFile.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "config/IniConfigurationSerializer.h"
#include "exception/NorqException.h"
#include "internal/CloseAtEnd.h"
#include "platform/Error.h"
#include "platform/FileHandle.h"
#include "platform/FileReplacement.h"
#include "stream/ByteArray.h"

#include <string>
#include <string_view>
#include <typeinfo>

namespace norq_std {

namespace platform = norq_std_internal::platform;
using platform::Replacement;

namespace {

bool isDone(Replacement replacement) {
    if (replacement == Replacement::Failed)
        throw NorqIOException(u"Write file failed.", platform::lastError());
    return replacement == Replacement::Done;
}

/// Makes the text the file's content; where that fails, the file may hold parts of it.
bool overwrite(platform::FileHandle& file, std::string_view text) {
    if (!file.isOpen() || (file.isRegular() && !file.seekTo(0)) || file.write(text.data(), text.size()) != text.size())
        return false;
    return !file.isRegular() || (file.setSize(text.size()) && file.flush());
}

} // namespace

// Never destroyed: threads may load files while the process ends.
const std::shared_ptr<ConfigurationSerializer>& ConfigurationFile::defaultSerializer =
    *new std::shared_ptr<ConfigurationSerializer>(std::make_shared<IniConfigurationSerializer>(u"windows-1252"));

ConfigurationFile::ConfigurationFile(const std::shared_ptr<ConfigurationSerializer>& sharedSerializer)
    : serializer(sharedSerializer) {}

ConfigurationFile::ConfigurationFile(const File& file, const std::shared_ptr<ConfigurationSerializer>& sharedSerializer)
    : serializer(sharedSerializer)
    , path(file) {
    if (serializer == nullptr)
        serializer.reset(defaultSerializer->newInstance());
}

ConfigurationFile::ConfigurationFile(const Configuration& other)
    : serializer(defaultSerializer) {
    copy(other);
}

ConfigurationFile::ConfigurationFile(const ConfigurationFile& other)
    : Configuration() {
    if (const auto source = other.getSerializer())
        serializer.reset(source->newInstance());
    copy(other);
}

ConfigurationFile::~ConfigurationFile() = default;

WString ConfigurationFile::toString() const { return u"ConfigurationFile{path='" + getPath().getPath() + u"'}"; }

std::shared_ptr<ConfigurationSerializer> ConfigurationFile::getSerializer() const {
    const AutoLock<Lock> guard(lock);
    return serializer;
}

File ConfigurationFile::getPath() const {
    const AutoLock<Lock> guard(lock);
    return path;
}

WString ConfigurationFile::getLineSeparator() const {
    const AutoLock<Lock> guard(lock);
    return serializer == nullptr ? WString() : serializer->getLineSeparator();
}

void ConfigurationFile::setSerializer(const std::shared_ptr<ConfigurationSerializer>& newSerializer) {
    const AutoLock<Lock> guard(lock);
    serializer = newSerializer;
}

void ConfigurationFile::setPath(const File& newPath) {
    const AutoLock<Lock> guard(lock);
    path = newPath;
}

void ConfigurationFile::setLineSeparator(const WString& separator) {
    const AutoLock<Lock> guard(lock);
    if (serializer != nullptr)
        serializer->setLineSeparator(separator);
}

void ConfigurationFile::load() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConfigurationFile::load");
    const AutoLock<Lock> guard(lock);
    Configuration::clear();
    ErrorUtils::isNullEx(serializer, u"norq_std::ConfigurationFile::load", u"serializer");
    std::shared_ptr<ByteArray> bytes;
    {
        const norq_std_internal::CloseAtEnd closing(lockedFile);
        lockedFile.open(path, LockedFile::Read, nullptr);
        bytes = lockedFile.read();
    }
    const std::shared_ptr<Configuration> read = serializer->deserialize(*bytes);
    // A serializer of the user's may keep what it gave; our own does not, so the sections need no copy.
    const ConfigurationSerializer& used = *serializer;
    if (typeid(used) == typeid(IniConfigurationSerializer))
        exchangeSections(*read);
    else
        copy(*read);
}

void ConfigurationFile::save() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConfigurationFile::save");
    const AutoLock<Lock> guard(lock);
    ErrorUtils::isNullEx(serializer, u"norq_std::ConfigurationFile::save", u"serializer");
    const File parent = path.getParentFile();
    if (!parent.exists())
        parent.mkdirs();
    if (!parent.isDirectory())
        throw NorqIOException(u"Unable to make necessary directories to save file with path: " +
                              parent.getAbsolutePath());

    const std::shared_ptr<ByteArray> bytes = serializer->serialize(*this);
    const WString target = path.getCanonicalPath();
    const auto size = static_cast<std::size_t>(bytes->getLength());
    if (isDone(platform::createFile(target, bytes->getArray().get(), size)))
        return;
    // Open for appending, the file is locked and created as for writing, and keeps its content.
    const norq_std_internal::CloseAtEnd closing(lockedFile);
    lockedFile.open(path, LockedFile::Append, nullptr);
    if (!isDone(platform::replaceFile(target, bytes->getArray().get(), size)))
        writeInPlace(target, *bytes);
}

/// Under the lock of `lockedFile`, which stays held all the time, through handles of its own.
void ConfigurationFile::writeInPlace(const WString& target, const ByteArray& bytes) {
    platform::FileHandle reading = platform::openFile(target, platform::OpenMode::Read);
    std::uint64_t oldSize = 0;
    if (!reading.isOpen() || !reading.size(oldSize))
        throw NorqIOException(u"Read file failed.", platform::lastError());
    std::string old(static_cast<std::size_t>(oldSize), '\0');
    const std::int64_t count = reading.read(old.data(), old.size());
    if (count < 0)
        throw NorqIOException(u"Read file failed.", platform::lastError());
    old.resize(static_cast<std::size_t>(count));
    platform::FileHandle writing = platform::openFile(target, platform::OpenMode::Write);
    if (overwrite(writing,
                  {reinterpret_cast<const char*>(bytes.getArray().get()), static_cast<std::size_t>(bytes.getLength())}))
        return;
    const std::int32_t error = platform::lastError();
    if (!overwrite(writing, old))
        NORQ_LOG(DEBUG, u"norq_std::ConfigurationFile::save", u"Unable to put the old content back: %ls",
                 ErrorUtils::getLastErrorDescription());
    throw NorqIOException(u"Write file failed.", error);
}

void ConfigurationFile::copy(const Configuration& other) {
    SectionList copied;
    {
        const AutoLock<Lock> guard(other.lock);
        copied = other.sections;
    }
    const AutoLock<Lock> guard(lock);
    sections.swap(copied);
}

} // namespace norq_std
