// Bytes as text and back, in bytes a second: Base64 beside OpenSSL's block functions and Boost.Beast's, both into
// memory that is there already; hexadecimal beside OpenSSL's Base64, which it should leave behind, and its own
// functions. Ours makes a new string or array each time.

#include "base/Base64Utils.h"
#include "base/EncodingUtils.h"
#include "stream/ByteArray.h"

#include <benchmark/benchmark.h>
#include <boost/beast/core/detail/base64.hpp>
#include <boost/beast/core/detail/base64.ipp>
#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

namespace beast = boost::beast::detail::base64;
using norq_std::Base64Utils;
using norq_std::ByteArray;
using norq_std::EncodingUtils;

struct Size {
    const char* name;
    std::size_t bytes;
};

constexpr Size SIZES[] = {{"1KB", 1023}, {"1MB", 1048575}}; // whole groups, so that no peer counts padding

std::string randomBytes(std::size_t length) {
    std::minstd_rand random(1);
    std::string bytes(length, '\0');
    std::ranges::generate(bytes, [&] { return static_cast<char>(random() >> 8); });
    return bytes;
}

const unsigned char* unsignedBytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

template <class Work>
void measure(const std::string& name, std::size_t bytes, Work work) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        for (auto _ : state)
            work();
        state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
    });
}

void registerSize(const Size& size) {
    const std::string bytes = randomBytes(size.bytes);
    const ByteArray array(bytes);
    const std::string base64 = Base64Utils::byteArrayToBase64(array);
    const auto hexadecimal = EncodingUtils::toHexString(array);
    const std::string narrow(hexadecimal.begin(), hexadecimal.end());
    auto* const room = new std::vector<unsigned char>(size.bytes * 2 + 100); // for the life of the program
    const auto topic = [&](const char* what) { return std::string(what) + '/' + size.name + '/'; };
    const int count = static_cast<int>(size.bytes);

    measure(topic("base64_encode") + "ours", size.bytes,
            [=] { benchmark::DoNotOptimize(Base64Utils::byteArrayToBase64(array)); });
    measure(topic("base64_encode") + "openssl", size.bytes, [=] {
        EVP_EncodeBlock(room->data(), unsignedBytes(bytes), count);
        benchmark::ClobberMemory();
    });
    measure(topic("base64_encode") + "beast", size.bytes,
            [=] { benchmark::DoNotOptimize(beast::encode(room->data(), bytes.data(), bytes.size())); });
    measure(topic("base64_decode") + "ours", size.bytes,
            [=] { benchmark::DoNotOptimize(Base64Utils::base64ToByteArray(base64)); });
    measure(topic("base64_decode") + "openssl", size.bytes, [=] {
        EVP_DecodeBlock(room->data(), unsignedBytes(base64), static_cast<int>(base64.size()));
        benchmark::ClobberMemory();
    });
    measure(topic("base64_decode") + "beast", size.bytes,
            [=] { benchmark::DoNotOptimize(beast::decode(room->data(), base64.data(), base64.size())); });
    measure(topic("hexadecimal_encode") + "ours", size.bytes,
            [=] { benchmark::DoNotOptimize(EncodingUtils::toHexString(array)); });
    measure(topic("hexadecimal_encode") + "openssl_base64", size.bytes, [=] {
        EVP_EncodeBlock(room->data(), unsignedBytes(bytes), count);
        benchmark::ClobberMemory();
    });
    measure(topic("hexadecimal_encode") + "openssl", size.bytes, [=] {
        std::size_t length = 0;
        OPENSSL_buf2hexstr_ex(reinterpret_cast<char*>(room->data()), room->size(), &length, unsignedBytes(bytes),
                              bytes.size(), '\0');
        benchmark::ClobberMemory();
    });
    measure(topic("hexadecimal_decode") + "ours", size.bytes,
            [=] { benchmark::DoNotOptimize(EncodingUtils::hexStringToByteArray(hexadecimal)); });
    measure(topic("hexadecimal_decode") + "openssl_base64", size.bytes, [=] {
        EVP_DecodeBlock(room->data(), unsignedBytes(base64), static_cast<int>(base64.size()));
        benchmark::ClobberMemory();
    });
    measure(topic("hexadecimal_decode") + "openssl", size.bytes, [=] {
        std::size_t length = 0;
        OPENSSL_hexstr2buf_ex(room->data(), room->size(), &length, narrow.c_str(), '\0');
        benchmark::ClobberMemory();
    });
}

} // namespace

int main(int argc, char** argv) {
    for (const Size& size : SIZES)
        registerSize(size);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
