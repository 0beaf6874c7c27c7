#include "stream/ByteBuffer.h"

#include "exception/NorqException.h"
#include "stream/ByteArray.h"
#include "system/NorqSystem.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory>
#include <vector>

namespace {

using norq_std::Buffer;
using norq_std::ByteArray;
using norq_std::ByteBuffer;
using norq_std::NorqBufferOverflowException;
using norq_std::NorqBufferUnderflowException;
using norq_std::NorqException;
using norq_std::NorqIllegalArgumentException;
using norq_std::WString;

using Bytes = std::vector<unsigned char>;

Bytes content(const ByteBuffer& buffer) { return {buffer.array(), buffer.array() + buffer.getCapacity()}; }

std::shared_ptr<ByteBuffer> bufferOf(std::initializer_list<unsigned char> bytes) {
    auto buffer = ByteBuffer::allocate(static_cast<std::int32_t>(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), buffer->array());
    return buffer;
}

/// The message of what the action throws and, where there is one, of its cause.
template <class Exception>
void expectThrown(const std::function<void()>& action, const WString& message, const WString& cause = {}) {
    try {
        action();
        FAIL() << "nothing thrown";
    } catch (const Exception& e) {
        const std::unique_ptr<NorqException> nested(e.getNestedException());
        EXPECT_EQ(cause.empty() ? message : message + u": " + cause, e.getMessage());
        EXPECT_EQ(!cause.empty(), dynamic_cast<NorqIllegalArgumentException*>(nested.get()) != nullptr);
    }
}

TEST(BufferTest, KeepsItsCursorsInOrder) {
    const auto buffer = ByteBuffer::allocate(10);
    EXPECT_EQ(u"ByteBuffer{Buffer{capacity=10,limit=10,pos=0,mark=-1},order=0}", buffer->toString());
    buffer->reset(); // no mark yet
    buffer->setPosition(6);
    buffer->setMark();
    buffer->setPosition(8);
    buffer->reset();
    EXPECT_EQ(6, buffer->getPosition());
    buffer->setLimit(6);
    EXPECT_EQ(u"Buffer{capacity=10,limit=6,pos=6,mark=6}", buffer->Buffer::toString());
    buffer->setLimit(5);
    EXPECT_EQ(u"Buffer{capacity=10,limit=5,pos=5,mark=-1}", buffer->Buffer::toString());
    EXPECT_FALSE(buffer->hasRemaining());
    buffer->setMark();
    buffer->setPosition(3);
    EXPECT_EQ(u"Buffer{capacity=10,limit=5,pos=3,mark=-1}", buffer->Buffer::toString());
    buffer->reset();
    EXPECT_EQ(2, buffer->remaining());
    buffer->setMark();
    buffer->flip();
    EXPECT_EQ(u"Buffer{capacity=10,limit=3,pos=0,mark=-1}", buffer->Buffer::toString());
    buffer->setPosition(3);
    buffer->rewind();
    EXPECT_EQ(u"Buffer{capacity=10,limit=3,pos=0,mark=-1}", buffer->Buffer::toString());
    for (const int bad : {-1, 4})
        expectThrown<NorqIllegalArgumentException>(
            [&] { buffer->setPosition(bad); }, bad < 0 ? u"Position value -1 is outside minimum of 0 and maximum of 3."
                                                       : u"Position value 4 is outside minimum of 0 and maximum of 3.");
    expectThrown<NorqIllegalArgumentException>([&] { buffer->setLimit(11); },
                                               u"Limit value 11 is outside minimum of 0 and maximum of 10.");
    buffer->clear();
    EXPECT_EQ(u"Buffer{capacity=10,limit=10,pos=0,mark=-1}", buffer->Buffer::toString());
}

TEST(ByteBufferTest, AllocatesWithinTheLimit) {
    const auto empty = ByteBuffer::allocate(0);
    expectThrown<NorqBufferUnderflowException>([&] { empty->get(); }, u"Position is above limit",
                                               u"Position value 0 is above maximum of -1.");
    EXPECT_THROW(ByteBuffer::allocate(-1), NorqIllegalArgumentException);
    // The limit was read at the first allocation and stays.
    norq_std::NorqSystem::getInstance().setProperty(u"ByteBuffer maximum capacity", u"5");
    EXPECT_EQ(6, ByteBuffer::allocate(6)->getCapacity());
    expectThrown<NorqIllegalArgumentException>(
        [] { ByteBuffer::allocate(1000000001); },
        u"Capacity value 1000000001 is outside minimum of 0 and maximum of 1000000000.");
    norq_std::NorqSystem::getInstance().setProperties({});
}

TEST(ByteBufferTest, WritesAndReadsNumbersInBothOrders) {
    const auto buffer = ByteBuffer::allocate(15);
    const Bytes expected[] = {{1, 1, 2, 1, 2, 3, 4, 1, 2, 3, 4, 5, 6, 7, 8},
                              {1, 2, 1, 4, 3, 2, 1, 8, 7, 6, 5, 4, 3, 2, 1}};
    for (const auto order : {norq_std::ENDIAN_BIG, norq_std::ENDIAN_LITTLE}) {
        buffer->setOrder(order);
        EXPECT_EQ(order, buffer->getOrder());
        buffer->clear();
        buffer->put(1);
        buffer->putShort(0x0102); // at odd places from here on
        buffer->putInt(0x01020304);
        buffer->putLongLong(0x0102030405060708);
        EXPECT_EQ(expected[order], content(*buffer));
        buffer->flip();
        EXPECT_EQ(1, buffer->get());
        EXPECT_EQ(0x0102, buffer->getShort());
        EXPECT_EQ(0x01020304U, buffer->getInt());
        EXPECT_EQ(0x0102030405060708U, buffer->getLongLong());
        EXPECT_FALSE(buffer->hasRemaining());

        std::fill_n(buffer->array(), 15, static_cast<unsigned char>(0));
        buffer->put(0, 1);
        buffer->putShort(1, 0x0102);
        buffer->putInt(3, 0x01020304);
        buffer->putLongLong(7, 0x0102030405060708);
        EXPECT_EQ(expected[order], content(*buffer));
        EXPECT_EQ(1, buffer->get(0));
        EXPECT_EQ(0x0102, buffer->getShort(1));
        EXPECT_EQ(0x01020304U, buffer->getInt(3));
        EXPECT_EQ(0x0102030405060708U, buffer->getLongLong(7));
        EXPECT_EQ(15, buffer->getPosition());
    }
    expectThrown<NorqIllegalArgumentException>([&] { buffer->setOrder(static_cast<norq_std::Endian>(2)); },
                                               u"Order value 2 is invalid.");
    EXPECT_EQ(norq_std::ENDIAN_LITTLE, buffer->getOrder());
}

TEST(ByteBufferTest, RefusesAccessBeyondTheLimitAndStaysAsItWas) {
    const auto buffer = bufferOf({1, 2, 3, 4, 5, 6, 7, 8});
    buffer->setLimit(4);
    buffer->setPosition(3);
    using Access = std::function<void()>;
    const std::pair<Access, WString> reads[] = {
        {[&] { buffer->getShort(); }, u"2"}, {[&] { buffer->getInt(); }, u"4"}, {[&] { buffer->getLongLong(); }, u"8"}};
    for (const auto& [read, size] : reads)
        expectThrown<NorqBufferUnderflowException>(read, u"Remaining data length is below " + size,
                                                   u"Remaining data length value 1 is below minimum of " + size + u".");
    const std::pair<Access, WString> writes[] = {{[&] { buffer->putShort(0); }, u"2"},
                                                 {[&] { buffer->putInt(0); }, u"4"},
                                                 {[&] { buffer->putLongLong(0); }, u"8"}};
    for (const auto& [write, size] : writes)
        expectThrown<NorqBufferOverflowException>(write, u"Insufficient space in buffer to add input",
                                                  u"Remaining data length value 1 is below minimum of " + size + u".");
    const std::pair<Access, WString> indexed[] = {
        {[&] { buffer->get(4); }, u"4 is outside minimum of 0 and maximum of 3."},
        {[&] { buffer->put(-1, 0); }, u"-1 is outside minimum of 0 and maximum of 3."},
        {[&] { buffer->getShort(3); }, u"3 is outside minimum of 0 and maximum of 2."},
        {[&] { buffer->putInt(1, 0); }, u"1 is outside minimum of 0 and maximum of 0."},
        {[&] { buffer->getLongLong(0); }, u"0 is outside minimum of 0 and maximum of -4."}};
    for (const auto& [access, text] : indexed)
        expectThrown<NorqIllegalArgumentException>(access, u"Index value " + text);
    EXPECT_EQ(3, buffer->getPosition());
    buffer->get();
    expectThrown<NorqBufferOverflowException>([&] { buffer->put(9); }, u"Buffer has reached limit",
                                              u"Position value 4 is above maximum of 3.");
    EXPECT_EQ((Bytes{1, 2, 3, 4, 5, 6, 7, 8}), content(*buffer));
}

TEST(ByteBufferTest, CopiesBlocksOfBytesAndOfUnits) {
    const auto buffer = ByteBuffer::allocate(9);
    const unsigned char bytes[] = {1, 2, 3, 4, 5};
    buffer->put(bytes, 5, 2, 3);
    buffer->put(u"xabc", 4, 1, 3); // at an odd place
    EXPECT_EQ((Bytes{3, 4, 5, 0, 'a', 0, 'b', 0, 'c'}), content(*buffer));
    buffer->flip();
    std::array<unsigned char, 4> target{};
    buffer->get(target.data(), 4, 1, 3);
    EXPECT_EQ((std::array<unsigned char, 4>{0, 3, 4, 5}), target);
    std::array<char16_t, 4> units{};
    buffer->get(units.data(), 4, 1, 2);
    EXPECT_EQ((std::array<char16_t, 4>{0, u'a', u'b', 0}), units);
    buffer->setOrder(norq_std::ENDIAN_LITTLE);
    buffer->get(units.data(), 1);
    EXPECT_EQ(char16_t{0x6300}, units[0]);
    buffer->setPosition(1);
    const auto array = buffer->getByteArray(2);
    EXPECT_EQ("\x04\x05", array->toString());
    EXPECT_EQ(3, buffer->getPosition());
    EXPECT_EQ(0, buffer->getByteArray(0)->getLength());

    const auto other = bufferOf({7, 8, 9});
    other->setPosition(1);
    buffer->clear();
    buffer->put(*other);
    EXPECT_EQ(2, buffer->getPosition());
    EXPECT_EQ(8, buffer->get(0));
    EXPECT_FALSE(other->hasRemaining());
    expectThrown<NorqIllegalArgumentException>([&] { buffer->put(*buffer); },
                                               u"Attempting to put to same buffer as source.");
    other->rewind();
    buffer->setLimit(4);
    expectThrown<NorqBufferOverflowException>([&] { buffer->put(*other); },
                                              u"Remaining data length is below input buffer size");
    EXPECT_EQ(3, other->remaining());
}

TEST(ByteBufferTest, ChecksTheArgumentsOfBlocksInOrder) {
    const auto buffer = ByteBuffer::allocate(5);
    unsigned char bytes[8] = {};
    char16_t units[8] = {};
    const struct {
        bool null;
        std::int32_t size, offset, length;
        const char16_t* message;
    } cases[] = {
        {true, -1, -1, -1, u" buffer value is NULL."},
        {false, -1, -1, -1, u"Size value -1 is below minimum of 0."},
        {false, 8, -1, -1, u"Offset value -1 is below minimum of 0."},
        {false, 8, 9, -1, u"Length value -1 is below minimum of 0."},
        {false, 8, 9, 9, u"Size value 8 is below minimum of 9."},
        {false, 8, 7, 2, u"Buffer size value 1 is below minimum of 2."},
    };
    for (const auto& [null, size, offset, length, message] : cases) {
        const auto with = [&](const char16_t* name) { return null ? name + WString(message) : message; };
        unsigned char* const at = null ? nullptr : bytes;
        char16_t* const wide = null ? nullptr : units;
        expectThrown<NorqIllegalArgumentException>([&] { buffer->get(at, size, offset, length); },
                                                   with(u"Destination"));
        expectThrown<NorqIllegalArgumentException>([&] { buffer->get(wide, size, offset, length); },
                                                   with(u"Destination"));
        expectThrown<NorqIllegalArgumentException>([&] { buffer->put(at, size, offset, length); }, with(u"Source"));
        expectThrown<NorqIllegalArgumentException>([&] { buffer->put(wide, size, offset, length); }, with(u"Source"));
    }
    const WString below = u"Remaining data length is below desired length";
    expectThrown<NorqBufferUnderflowException>([&] { buffer->get(bytes, 6); }, below,
                                               u"Remaining data length value 5 is below minimum of 6.");
    expectThrown<NorqBufferUnderflowException>([&] { buffer->get(units, 0x7FFFFFFF, 0, 0x7FFFFFFF); }, below,
                                               u"Remaining data length value 5 is below minimum of 4294967294.");
    expectThrown<NorqBufferUnderflowException>([&] { buffer->getByteArray(6); }, below,
                                               u"Remaining data length value 5 is below minimum of 6.");
    expectThrown<NorqIllegalArgumentException>([&] { buffer->getByteArray(-1); },
                                               u"Length value -1 is below minimum of 0.");
    expectThrown<NorqBufferOverflowException>([&] { buffer->put(units, 3); },
                                              u"Insufficient space in buffer to add input",
                                              u"Remaining data length value 5 is below minimum of 6.");
    EXPECT_EQ(0, buffer->getPosition());
}

} // namespace
