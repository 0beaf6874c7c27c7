#include "OutputAppender.h"

#include "base/UtfUtils.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"

#include <cerrno>
#include <utility>

namespace shipper {
namespace {

constexpr std::size_t BUFFER_BYTES = 256 * 1024;

std::FILE* open(const std::string& path, const char* mode) {
    std::FILE* const file = path.empty() ? stdout : std::fopen(path.c_str(), mode);
    if (file)
        std::setvbuf(file, nullptr, _IOFBF, BUFFER_BYTES);
    return file;
}

void close(std::FILE* file) {
    if (file && file != stdout)
        std::fclose(file);
}

} // namespace

OutputAppender::OutputAppender(const std::string& path, Mode mode, norq_std::Event& stopEvent)
    : ILogAppender(nullptr, nullptr)
    , stop(stopEvent)
    , file(open(path, mode == Mode::Append ? "ab" : "wb")) {
    if (!file)
        fail();
}

OutputAppender::~OutputAppender() { close(file); }

norq_std::WString OutputAppender::toString() const { return u"OutputAppender{}"; }

OutputAppender* OutputAppender::newInstance(const Properties&) const {
    throw norq_std::NorqUnsupportedOperationException(u"An OutputAppender is not made from properties.");
}

void OutputAppender::flush() {
    const norq_std::AutoLock<norq_std::Lock> guard(lock);
    if (errorNumber == 0 && std::fflush(file) != 0)
        fail();
}

int OutputAppender::switchTo(const std::string& path) {
    std::FILE* const next = open(path, "ab");
    if (!next)
        return errno;
    flush();
    const norq_std::AutoLock<norq_std::Lock> guard(lock);
    close(std::exchange(file, next));
    return 0;
}

void OutputAppender::localAppend(const norq_std::LogEvent&) {}

void OutputAppender::localAppend(const norq_std::WString& text) {
    if (errorNumber != 0)
        return;
    const std::string bytes = norq_std::UtfUtils::utf16ToUtf8(text);
    const norq_std::AutoLock<norq_std::Lock> guard(lock);
    if (std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size())
        fail();
}

void OutputAppender::fail() {
    errorNumber = errno == 0 ? EIO : errno;
    stop.signal();
}

} // namespace shipper
