#include "OutputAppender.h"

#include "base/UtfUtils.h"
#include "exception/NorqException.h"

#include <cerrno>

namespace shipper {
namespace {

constexpr std::size_t BUFFER_BYTES = 256 * 1024;

} // namespace

OutputAppender::OutputAppender(const std::string& path, norq_std::Event& stopEvent)
    : ILogAppender(nullptr, nullptr)
    , stop(stopEvent)
    , file(path.empty() ? stdout : std::fopen(path.c_str(), "wb")) {
    if (file)
        std::setvbuf(file, nullptr, _IOFBF, BUFFER_BYTES);
    else
        fail();
}

OutputAppender::~OutputAppender() {
    if (file && file != stdout)
        std::fclose(file);
}

norq_std::WString OutputAppender::toString() const { return u"OutputAppender{}"; }

OutputAppender* OutputAppender::newInstance(const Properties&) const {
    throw norq_std::NorqUnsupportedOperationException(u"An OutputAppender is not made from properties.");
}

void OutputAppender::finish() {
    if (errorNumber == 0 && std::fflush(file) != 0)
        fail();
}

void OutputAppender::localAppend(const norq_std::LogEvent&) {}

void OutputAppender::localAppend(const norq_std::WString& text) {
    if (errorNumber != 0)
        return;
    const std::string bytes = norq_std::UtfUtils::utf16ToUtf8(text);
    if (std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size())
        fail();
}

void OutputAppender::fail() {
    errorNumber = errno == 0 ? EIO : errno;
    stop.signal();
}

} // namespace shipper
