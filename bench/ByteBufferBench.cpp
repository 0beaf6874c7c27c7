// Numbers of a ByteBuffer, written and read one after the other through a block of 4 KB, beside memcpy and a byte swap
// at a running place in plain memory that checks nothing; and blocks of bytes beside memcpy.

#include "stream/ByteBuffer.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

using norq_std::ByteBuffer;

constexpr std::size_t BYTES = 4096;

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

template <class T>
T get(ByteBuffer& buffer) {
    if constexpr (sizeof(T) == 2)
        return buffer.getShort();
    else if constexpr (sizeof(T) == 4)
        return buffer.getInt();
    else
        return buffer.getLongLong();
}

template <class T>
void putOurs(benchmark::State& state) {
    const auto buffer = ByteBuffer::allocate(BYTES);
    T value = 1;
    for (auto _ : state) {
        buffer->clear();
        for (std::size_t i = 0; i < BYTES / sizeof(T); ++i) {
            put(*buffer, value++);
            benchmark::ClobberMemory(); // each number is stored: the compiler makes no blocks of the peer's
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * BYTES));
}

template <class T>
void putPlain(benchmark::State& state) {
    std::vector<unsigned char> memory(BYTES);
    T value = 1;
    for (auto _ : state) {
        unsigned char* at = memory.data();
        for (std::size_t i = 0; i < BYTES / sizeof(T); ++i) {
            const T stored = swapped(value++);
            std::memcpy(at, &stored, sizeof stored);
            at += sizeof stored;
            benchmark::ClobberMemory();
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * BYTES));
}

template <class T>
void getOurs(benchmark::State& state) {
    const auto buffer = ByteBuffer::allocate(BYTES);
    for (auto _ : state) {
        buffer->rewind();
        T sum = 0;
        for (std::size_t i = 0; i < BYTES / sizeof(T); ++i) {
            sum = static_cast<T>(sum + get<T>(*buffer));
            benchmark::DoNotOptimize(sum);
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * BYTES));
}

template <class T>
void getPlain(benchmark::State& state) {
    std::vector<unsigned char> memory(BYTES);
    for (auto _ : state) {
        const unsigned char* at = memory.data();
        T sum = 0;
        for (std::size_t i = 0; i < BYTES / sizeof(T); ++i) {
            T loaded = 0;
            std::memcpy(&loaded, at, sizeof loaded);
            at += sizeof loaded;
            sum = static_cast<T>(sum + swapped(loaded));
            benchmark::DoNotOptimize(sum);
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * BYTES));
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

template <class T>
void registerType(const std::string& type) {
    benchmark::RegisterBenchmark(("buffer_put/" + type + "/ours").c_str(), putOurs<T>);
    benchmark::RegisterBenchmark(("buffer_put/" + type + "/memcpy").c_str(), putPlain<T>);
    benchmark::RegisterBenchmark(("buffer_get/" + type + "/ours").c_str(), getOurs<T>);
    benchmark::RegisterBenchmark(("buffer_get/" + type + "/memcpy").c_str(), getPlain<T>);
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
