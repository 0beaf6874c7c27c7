// From a write to the call of a listener, beside a thread that reads bare inotify. The directory holds a thousand
// registered files; the time is for one write and one call.

#include "file/File.h"
#include "file/FileWatcher.h"
#include "file/IFileListener.h"

#include "base/UtfUtils.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <semaphore>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr int Files = 1000;

/// A temporary directory with the files.
struct Directory {
    Directory() {
        path = (fs::temp_directory_path() / "norqstd-bench-XXXXXX").string();
        if (mkdtemp(path.data()) == nullptr)
            std::abort();
        for (int i = 0; i < Files; ++i)
            close(open(file(i).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    }
    ~Directory() { fs::remove_all(path); }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    std::string file(int i) const { return path + "/file" + std::to_string(i); }

    std::string path;
};

struct Listener : norq_std::IFileListener {
    void onFileContentChange(const norq_std::File&) override { told.release(); }
    std::binary_semaphore told{0};
};

void writeOne(int descriptor) {
    if (write(descriptor, "x", 1) != 1)
        std::abort();
}

void throughFileWatcher(benchmark::State& state) {
    const Directory directory;
    const auto listener = std::make_shared<Listener>();
    for (int i = 0; i < Files; ++i)
        norq_std::FileWatcher::addListener(listener,
                                           norq_std::File(norq_std::UtfUtils::utf8ToUtf16(directory.file(i))));
    const int file = open(directory.file(Files / 2).c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    for (auto _ : state) {
        writeOne(file);
        listener->told.acquire();
    }
    close(file);
    norq_std::FileWatcher::removeListener(listener);
}

void throughInotify(benchmark::State& state) {
    const Directory directory;
    const int instance = inotify_init1(IN_CLOEXEC);
    inotify_add_watch(instance, directory.path.c_str(), IN_MODIFY | IN_DELETE_SELF);
    std::binary_semaphore told{0};
    std::jthread reader([&] {
        alignas(inotify_event) std::array<char, 4096> buffer;
        while (read(instance, buffer.data(), buffer.size()) > 0) {
            const auto& event = *reinterpret_cast<const inotify_event*>(buffer.data());
            if ((event.mask & IN_MODIFY) == 0)
                return;
            told.release();
        }
    });
    const int file = open(directory.file(Files / 2).c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    for (auto _ : state) {
        writeOne(file);
        told.acquire();
    }
    close(file);
    fs::remove_all(directory.path); // ends the reader
    reader.join();
    close(instance);
}

} // namespace

int main(int argc, char** argv) {
    benchmark::RegisterBenchmark("watch/write_to_listener/ours", &throughFileWatcher)->UseRealTime();
    benchmark::RegisterBenchmark("watch/write_to_listener/inotify", &throughInotify)->UseRealTime();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
