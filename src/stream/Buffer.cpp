#include "stream/Buffer.h"

#include "base/ErrorUtils.h"
#include "base/StringUtils.h"

namespace norq_std {

Buffer::Buffer() = default;

Buffer::~Buffer() = default;

WString Buffer::toString() const {
    return StringUtils::format(u"Buffer{capacity=%d,limit=%d,pos=%d,mark=%d}", capacity, limit, position, mark);
}

void Buffer::clear() {
    position = 0;
    limit = capacity;
    mark = NO_MARK;
}

void Buffer::flip() {
    limit = position;
    rewind();
}

void Buffer::rewind() {
    position = 0;
    mark = NO_MARK;
}

void Buffer::setMark() { mark = position; }

void Buffer::reset() {
    if (mark != NO_MARK)
        position = mark;
}

void Buffer::setLimit(std::int32_t value) {
    ErrorUtils::isOutsideRangeEx(value, 0, capacity, u"norq_std::Buffer::setLimit", u"Limit");
    limit = value;
    if (position > limit)
        position = limit;
    if (mark > limit)
        mark = NO_MARK;
}

void Buffer::setPosition(std::int32_t value) {
    ErrorUtils::isOutsideRangeEx(value, 0, limit, u"norq_std::Buffer::setPosition", u"Position");
    position = value;
    if (mark > position)
        mark = NO_MARK;
}

} // namespace norq_std
