// Whole files beside bare open, read and write; listings beside readdir; gzip beside zlib's own calls. Files lie in
// memory where the machine has such a folder, so that what is measured is the way to them.

#include "file/CompressedFile.h"
#include "file/File.h"
#include "file/FileUtils.h"
#include "stream/ByteArray.h"

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace norq_std;
namespace fs = std::filesystem;

const fs::path& folder() {
    static const fs::path path = [] {
        std::string name = (fs::exists("/dev/shm") ? "/dev/shm" : fs::temp_directory_path()) / "norqstd-bench-XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
            std::abort();
        return fs::path(name);
    }();
    return path;
}

std::string sample(std::size_t size) {
    std::string text;
    unsigned number = 1;
    while (text.size() < size)
        text +=
            "2024-05-01 12:00:00.123 line " + std::to_string((number = number * 48271u % 2147483647u) % 1000) + "\n";
    text.resize(size);
    return text;
}

void prepare(const fs::path& path, std::size_t size) { std::ofstream(path, std::ios::binary) << sample(size); }

void setBytes(benchmark::State& state, std::size_t size) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(size));
}

void readOurs(benchmark::State& state, std::size_t size) {
    prepare(folder() / "read", size);
    const WString name = (folder() / "read").u16string();
    for (auto _ : state)
        benchmark::DoNotOptimize(FileUtils::getFileContent(name));
    setBytes(state, size);
}

void readBare(benchmark::State& state, std::size_t size) {
    prepare(folder() / "read", size);
    const std::string name = folder() / "read";
    for (auto _ : state) {
        const int file = open(name.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat status {};
        fstat(file, &status);
        const auto bytes = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(status.st_size));
        benchmark::DoNotOptimize(read(file, bytes.get(), static_cast<std::size_t>(status.st_size)));
        close(file);
    }
    setBytes(state, size);
}

void writeOurs(benchmark::State& state, std::size_t size) {
    const WString name = (folder() / "written").u16string();
    const ByteArray bytes(sample(size));
    for (auto _ : state)
        benchmark::DoNotOptimize(FileUtils::writeFileContent(name, bytes));
    setBytes(state, size);
}

void writeBare(benchmark::State& state, std::size_t size) {
    const std::string name = folder() / "written";
    const std::string bytes = sample(size);
    for (auto _ : state) {
        const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        benchmark::DoNotOptimize(write(file, bytes.data(), bytes.size()));
        close(file);
    }
    setBytes(state, size);
}

constexpr std::size_t GzipSize = 4 << 20;

void gzipWriteOurs(benchmark::State& state) {
    const File target((folder() / "ours.gz").u16string());
    const ByteArray bytes(sample(GzipSize));
    for (auto _ : state) {
        CompressedFile file;
        file.open(target, CompressedFile::Write);
        file.write(bytes);
        file.close();
    }
    setBytes(state, GzipSize);
}

void gzipWriteBare(benchmark::State& state) {
    const std::string name = folder() / "bare.gz";
    const std::string bytes = sample(GzipSize);
    for (auto _ : state) {
        const gzFile file = gzopen(name.c_str(), "wb");
        gzwrite(file, bytes.data(), static_cast<unsigned>(bytes.size()));
        gzclose(file);
    }
    setBytes(state, GzipSize);
}

void prepareGzip() {
    CompressedFile file;
    file.open(File((folder() / "read.gz").u16string()), CompressedFile::Write);
    file.write(ByteArray(sample(GzipSize)));
    file.close();
}

void gzipReadOurs(benchmark::State& state) {
    prepareGzip();
    const File source((folder() / "read.gz").u16string());
    for (auto _ : state) {
        CompressedFile file;
        file.open(source, CompressedFile::Read);
        benchmark::DoNotOptimize(file.read());
    }
    setBytes(state, GzipSize);
}

void gzipReadBare(benchmark::State& state) {
    prepareGzip();
    const std::string name = folder() / "read.gz";
    for (auto _ : state) {
        const gzFile file = gzopen(name.c_str(), "rb");
        const auto bytes = std::make_unique_for_overwrite<char[]>(GzipSize);
        benchmark::DoNotOptimize(gzread(file, bytes.get(), GzipSize));
        gzclose(file);
    }
    setBytes(state, GzipSize);
}

const fs::path& manyEntries() {
    static const fs::path path = [] {
        const fs::path many = folder() / "many";
        fs::create_directory(many);
        for (int i = 0; i < 100'000; ++i)
            close(open((many / std::to_string(1'000'000'000 + i)).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0666));
        return many;
    }();
    return path;
}

void listOurs(benchmark::State& state) {
    const File directory(manyEntries().u16string());
    for (auto _ : state)
        benchmark::DoNotOptimize(directory.list());
    state.SetItemsProcessed(state.iterations() * 100'000);
}

void listBare(benchmark::State& state) {
    const std::string name = manyEntries();
    for (auto _ : state) {
        DIR* const directory = opendir(name.c_str());
        std::size_t units = 0;
        while (const dirent* entry = readdir(directory))
            units += std::strlen(entry->d_name);
        closedir(directory);
        benchmark::DoNotOptimize(units);
    }
    state.SetItemsProcessed(state.iterations() * 100'000);
}

struct Size {
    const char* name;
    std::size_t bytes;
};

} // namespace

int main(int argc, char** argv) {
    for (const Size size : {Size{"4KB", 4 << 10}, Size{"1MB", 1 << 20}, Size{"64MB", 64 << 20}}) {
        const auto add = [&](const char* what, const char* whose, void (*row)(benchmark::State&, std::size_t)) {
            std::string name(what);
            name.append("/").append(size.name).append("/").append(whose);
            benchmark::RegisterBenchmark(name.c_str(), row, size.bytes);
        };
        add("file_read", "ours", readOurs);
        add("file_read", "bare", readBare);
        add("file_write", "ours", writeOurs);
        add("file_write", "bare", writeBare);
    }
    benchmark::RegisterBenchmark("gzip_write/4MB/ours", gzipWriteOurs);
    benchmark::RegisterBenchmark("gzip_write/4MB/zlib", gzipWriteBare);
    benchmark::RegisterBenchmark("gzip_read/4MB/ours", gzipReadOurs);
    benchmark::RegisterBenchmark("gzip_read/4MB/zlib", gzipReadBare);
    benchmark::RegisterBenchmark("list/100000/ours", listOurs);
    benchmark::RegisterBenchmark("list/100000/readdir", listBare);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::error_code ignored;
    fs::remove_all(folder(), ignored);
    return 0;
}
