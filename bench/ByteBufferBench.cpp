// Numbers of a ByteBuffer, written and read one after the other through a block of 4 KB, beside memcpy and a byte swap
// that check nothing: at a place that a member of an object holds, as in whatever is handed from function to function;
// and at a pointer that never leaves its register. By index there is no place to keep. Each number passes through a
// register that the compiler cannot look into, so that no side becomes a loop of whole vectors.

#include "stream/ByteBuffer.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using norq_std::ByteBuffer;

constexpr std::size_t BYTES = 4096;

/// The value, of which the compiler knows nothing more.
template <class T>
T opaque(T value) {
    asm volatile("" : "+r"(value)); // touches no memory
    return value;
}

template <class T>
T swapped(T value) {
    if constexpr (sizeof(T) == 2)
        return __builtin_bswap16(value);
    else if constexpr (sizeof(T) == 4)
        return __builtin_bswap32(value);
    else
        return __builtin_bswap64(value);
}

void put(ByteBuffer& buffer, std::uint16_t value) { buffer.putShort(value); }
void put(ByteBuffer& buffer, std::uint32_t value) { buffer.putInt(value); }
void put(ByteBuffer& buffer, std::uint64_t value) { buffer.putLongLong(value); }

void putAt(ByteBuffer& buffer, std::int32_t at, std::uint16_t value) { buffer.putShort(at, value); }
void putAt(ByteBuffer& buffer, std::int32_t at, std::uint32_t value) { buffer.putInt(at, value); }
void putAt(ByteBuffer& buffer, std::int32_t at, std::uint64_t value) { buffer.putLongLong(at, value); }

template <class T>
T getAt(ByteBuffer& buffer, std::int32_t at) {
    if constexpr (sizeof(T) == 2)
        return buffer.getShort(at);
    else if constexpr (sizeof(T) == 4)
        return buffer.getInt(at);
    else
        return buffer.getLongLong(at);
}

template <class T>
T get(ByteBuffer& buffer) {
    if constexpr (sizeof(T) == 2)
        return buffer.getShort();
    else if constexpr (sizeof(T) == 4)
        return buffer.getInt();
    else
        return buffer.getLongLong();
}

/// Memory with a place in it, and nothing else.
struct Cursor {
    std::vector<unsigned char> memory = std::vector<unsigned char>(BYTES);
    std::size_t place = 0;

    template <class T>
    void put(T value) {
        putAt(place, value);
        place += sizeof value;
    }
    template <class T>
    T get() {
        const T value = getAt<T>(place);
        place += sizeof value;
        return value;
    }
    template <class T>
    void putAt(std::size_t at, T value) {
        value = swapped(value);
        std::memcpy(memory.data() + at, &value, sizeof value);
    }
    template <class T>
    T getAt(std::size_t at) const {
        T value = 0;
        std::memcpy(&value, memory.data() + at, sizeof value);
        return swapped(value);
    }
};

/// Runs `pass` over a block whose numbers are of type T.
template <class Pass>
void measure(const std::string& name, Pass pass) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        for (auto _ : state) {
            pass();
            benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * BYTES));
    });
}

template <class T>
void registerType(const std::string& type) {
    auto* const ours = new std::shared_ptr<ByteBuffer>(ByteBuffer::allocate(BYTES)); // for the life of the program
    ByteBuffer* const buffer = ours->get();
    auto* const cursor = new Cursor;
    unsigned char* const memory = cursor->memory.data();
    const T value = 1;

    measure("buffer_put/" + type + "/ours", [=] {
        buffer->clear();
        for (std::size_t i = 0; i < BYTES; i += sizeof(T))
            put(*buffer, opaque(value));
    });
    measure("buffer_put/" + type + "/memcpy at a member", [=] {
        cursor->place = 0;
        for (std::size_t i = 0; i < BYTES; i += sizeof(T))
            cursor->put(opaque(value));
    });
    measure("buffer_put/" + type + "/memcpy at a register", [=] {
        unsigned char* at = memory;
        for (std::size_t i = 0; i < BYTES; i += sizeof(T), at += sizeof(T)) {
            const T stored = swapped(opaque(value));
            std::memcpy(at, &stored, sizeof stored);
        }
    });
    measure("buffer_get/" + type + "/ours", [=] {
        buffer->rewind();
        for (std::size_t i = 0; i < BYTES; i += sizeof(T))
            opaque(get<T>(*buffer));
    });
    measure("buffer_get/" + type + "/memcpy at a member", [=] {
        cursor->place = 0;
        for (std::size_t i = 0; i < BYTES; i += sizeof(T))
            opaque(cursor->template get<T>());
    });
    measure("buffer_get/" + type + "/memcpy at a register", [=] {
        const unsigned char* at = memory;
        for (std::size_t i = 0; i < BYTES; i += sizeof(T), at += sizeof(T)) {
            T loaded = 0;
            std::memcpy(&loaded, at, sizeof loaded);
            opaque(swapped(loaded));
        }
    });
    measure("buffer_put_at/" + type + "/ours", [=] {
        for (std::size_t i = 0; i < BYTES; i += sizeof(T))
            putAt(*buffer, static_cast<std::int32_t>(i), opaque(value));
    });
    measure("buffer_put_at/" + type + "/memcpy", [=] {
        for (std::size_t i = 0; i < BYTES; i += sizeof(T))
            cursor->putAt(i, opaque(value));
    });
    measure("buffer_get_at/" + type + "/ours", [=] {
        for (std::size_t i = 0; i < BYTES; i += sizeof(T))
            opaque(getAt<T>(*buffer, static_cast<std::int32_t>(i)));
    });
    measure("buffer_get_at/" + type + "/memcpy", [=] {
        for (std::size_t i = 0; i < BYTES; i += sizeof(T))
            opaque(cursor->template getAt<T>(i));
    });
}

void blockOurs(benchmark::State& state) {
    const auto buffer = ByteBuffer::allocate(BYTES);
    const std::vector<unsigned char> source(BYTES, 'x');
    for (auto _ : state) {
        buffer->clear();
        buffer->put(source.data(), BYTES);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * BYTES));
}

void blockPlain(benchmark::State& state) {
    std::vector<unsigned char> memory(BYTES);
    const std::vector<unsigned char> source(BYTES, 'x');
    for (auto _ : state) {
        std::memcpy(memory.data(), source.data(), BYTES);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * BYTES));
}

} // namespace

int main(int argc, char** argv) {
    registerType<std::uint16_t>("short");
    registerType<std::uint32_t>("int");
    registerType<std::uint64_t>("long_long");
    benchmark::RegisterBenchmark("buffer_put/block_4KB/ours", blockOurs);
    benchmark::RegisterBenchmark("buffer_put/block_4KB/memcpy", blockPlain);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
