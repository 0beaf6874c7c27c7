#include "platform/DebugOutput.h"

#include "platform/CancellationShield.h"
#include "platform/NarrowText.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <unistd.h>

namespace norq_std_internal::platform {
namespace {

class Channel {
public:
    virtual void write(std::u16string_view text) = 0;

protected:
    ~Channel() = default;
};

class DescriptorChannel final : public Channel {
public:
    explicit DescriptorChannel(int opened)
        : descriptor(opened) {}

    void write(std::u16string_view text) override {
        const std::string bytes = toUtf8(text);
        std::string_view rest = bytes;
        while (!rest.empty()) {
            const ssize_t written = ::write(descriptor, rest.data(), rest.size());
            if (written < 0 && errno == EINTR)
                continue;
            if (written <= 0)
                return;
            rest.remove_prefix(static_cast<std::size_t>(written));
        }
    }

private:
    int descriptor;
};

class SinkChannel final : public Channel {
public:
    void set(std::function<void(std::u16string_view)> next) {
        const std::lock_guard guard(mutex);
        sink = std::move(next);
    }

    void write(std::u16string_view text) override {
        const std::lock_guard guard(mutex);
        if (sink)
            sink(text);
    }

private:
    std::recursive_mutex mutex; // a sink may call what logs
    std::function<void(std::u16string_view)> sink;
};

Channel* openNamedChannel() {
    const char* name = std::getenv("NORQSTD_DEBUG_OUTPUT"); // NOLINT(concurrency-mt-unsafe): read once, at start
    if (name == nullptr || *name == '\0')
        return nullptr;
    if (std::strcmp(name, "stderr") == 0)
        return new DescriptorChannel(STDERR_FILENO);
    const int descriptor = ::open(name, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0666);
    return descriptor < 0 ? nullptr : new DescriptorChannel(descriptor);
}

Channel* namedChannel() {
    static Channel* const channel = openNamedChannel();
    return channel;
}

SinkChannel& sinkChannel() {
    static SinkChannel& channel = *new SinkChannel;
    return channel;
}

std::atomic<Channel*>& currentChannel() {
    static std::atomic<Channel*> channel{namedChannel()};
    return channel;
}

} // namespace

bool debugOutputOn() noexcept { return currentChannel().load(std::memory_order_acquire) != nullptr; }

void debugOutput(std::u16string_view text) noexcept {
    Channel* const channel = currentChannel().load(std::memory_order_acquire);
    if (channel == nullptr)
        return;
    const CancellationShield shield;
    const int callersError = errno;
    try {
        channel->write(text);
    } catch (...) { // the text is lost, the caller is not
    }
    errno = callersError;
}

void setDebugOutputSink(std::function<void(std::u16string_view)> sink) {
    const bool on = static_cast<bool>(sink);
    sinkChannel().set(std::move(sink));
    currentChannel().store(on ? &sinkChannel() : namedChannel(), std::memory_order_release);
}

void consoleOutput(std::u16string_view text) noexcept {
    const CancellationShield shield;
    try {
        const std::string bytes = toUtf8(text);
        std::fwrite(bytes.data(), 1, bytes.size(), stdout);
        std::fflush(stdout);
    } catch (...) { // as above
    }
}

} // namespace norq_std_internal::platform
