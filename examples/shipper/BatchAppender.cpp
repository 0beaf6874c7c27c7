#include "BatchAppender.h"

#include "base/UtfUtils.h"

namespace shipper {
namespace {

constexpr std::size_t CONVERTED_AT_ONCE = 16 * 1024; // what stays in a processor's near cache

} // namespace

BatchAppender::BatchAppender()
    : ILogAppender(nullptr, nullptr) {}

norq_std::WString BatchAppender::toString() const { return u"BatchAppender{}"; }

BatchAppender* BatchAppender::newInstance(const Properties&) const { return new BatchAppender; }

const std::string& BatchAppender::collected() {
    convert();
    return bytes;
}

void BatchAppender::clear() {
    wide.clear();
    bytes.clear();
}

void BatchAppender::localAppend(const norq_std::LogEvent&) {}

void BatchAppender::localAppend(const norq_std::WString& text) {
    if (wide.size() + text.size() > CONVERTED_AT_ONCE)
        convert();
    wide += text;
}

void BatchAppender::convert() {
    if (wide.empty())
        return;
    bytes += norq_std::UtfUtils::utf16ToUtf8(wide);
    wide.clear();
}

} // namespace shipper
