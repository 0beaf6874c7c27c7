#pragma once

#include "base/Export.h"
#include "base/Object.h"
#include "base/WString.h"

#include <cstdint>

namespace norq_std {

/// A cursor over a fixed capacity: what lies between position and limit is there to be read or written.
///
/// 0 <= mark <= position <= limit <= capacity always holds, where there is a mark. Filled up to its position, a buffer
/// is made ready for reading by `flip`; read, it is made ready for filling by `clear`. It belongs to one thread at a
/// time.
class NORQSTD_EXPORT Buffer : public Object {
public:
    ~Buffer() override;

    WString toString() const override;

    std::int32_t getCapacity() const { return capacity; }
    std::int32_t getLimit() const { return limit; }
    std::int32_t getPosition() const { return position; }
    std::int32_t remaining() const { return limit - position; }
    bool hasRemaining() const { return remaining() > 0; }

    /// The whole capacity, from its start, without a mark. The bytes stay as they are.
    void clear();
    /// From the start up to where the position was, without a mark.
    void flip();
    /// From the start up to the limit, without a mark.
    void rewind();

    void setMark();
    /// Goes back to the mark; does nothing without one.
    void reset();

    /// Throws `NorqIllegalArgumentException` for a value outside 0 to the capacity. A position above the new limit
    /// becomes the limit, a mark above it is dropped.
    void setLimit(std::int32_t value);
    /// Throws `NorqIllegalArgumentException` for a value outside 0 to the limit. A mark above it is dropped.
    void setPosition(std::int32_t value);

protected:
    Buffer();
    Buffer(const Buffer&) = default;
    Buffer& operator=(const Buffer&) = default;

    std::int32_t capacity = 0;
    std::int32_t limit = 0;
    std::int32_t position = 0;
    std::int32_t mark = NO_MARK;

private:
    static constexpr std::int32_t NO_MARK = -1;
};

} // namespace norq_std
