#include "platform/ConsoleTitle.h"

#include "platform/Error.h"
#include "platform/NarrowText.h"
#include "platform/linux/Descriptor.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>
#include <utility>

namespace norq_std_internal::platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds WriteLimit(1000);

struct Title {
    std::mutex mutex; // held while it is written too, so that two titles do not mix on the line
    std::u16string text;
    bool isHalfWritten = false; // the terminal takes all that comes for the title until its sequence is ended
};

Title& title() {
    static Title& shared = *new Title;
    return shared;
}

Descriptor openTerminal() { return Descriptor(::open("/dev/tty", O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)); }

/// A job in the background would be stopped by its output where the terminal is set so.
class BackgroundOutputAllowed {
public:
    BackgroundOutputAllowed() {
        sigset_t output;
        sigemptyset(&output);
        sigaddset(&output, SIGTTOU);
        pthread_sigmask(SIG_BLOCK, &output, &before);
    }
    ~BackgroundOutputAllowed() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    BackgroundOutputAllowed(const BackgroundOutputAllowed&) = delete;
    BackgroundOutputAllowed& operator=(const BackgroundOutputAllowed&) = delete;

private:
    sigset_t before{};
};

/// Takes away what was written, all of it unless it fails.
bool write(int terminal, std::string_view& bytes) {
    const BackgroundOutputAllowed allowed;
    Clock::time_point end = Clock::now() + WriteLimit;
    while (!bytes.empty()) {
        const ssize_t written = ::write(terminal, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
            if (written > 0)
                end = Clock::now() + WriteLimit; // the terminal takes output
            continue;
        }
        if (errno == EINTR)
            continue;
        if (errno != EAGAIN)
            return false;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
        pollfd waited{terminal, POLLOUT, 0};
        if (left.count() <= 0 || ::poll(&waited, 1, static_cast<int>(left.count())) == 0) {
            errno = ETIMEDOUT;
            return false;
        }
    }
    return true;
}

constexpr char EndOfSequence = '\a';

/// Operating System Command 2. A control character would end it, and what follows would be commands.
std::string sequenceOf(std::u16string_view text) {
    std::u16string plain(text);
    std::replace_if(
        plain.begin(), plain.end(), [](char16_t unit) { return unit < 0x20 || (unit >= 0x7f && unit < 0xa0); }, u' ');
    return "\x1b]2;" + toUtf8(plain) + EndOfSequence;
}

bool show(Title& shared, int terminal, std::string sequence) {
    if (shared.isHalfWritten)
        sequence.insert(sequence.begin(), EndOfSequence);
    std::string_view left = sequence;
    const bool shown = write(terminal, left);
    if (left.size() < sequence.size())
        shared.isHalfWritten = !shown;
    return shown;
}

bool isHighSurrogate(char16_t unit) { return (unit & 0xfc00) == 0xd800; }

} // namespace

std::int32_t setConsoleTitle(std::u16string_view text) {
    std::string sequence = sequenceOf(text);
    std::u16string kept(text);
    Title& shared = title();
    const std::lock_guard guard(shared.mutex);
    const Descriptor terminal = openTerminal();
    if (!terminal.valid() || !show(shared, terminal.get(), std::move(sequence))) {
        setLastErrorFromNative();
        return 0;
    }
    shared.text.swap(kept);
    return 1;
}

std::u16string consoleTitle(std::size_t size) {
    if (size == 0 || !openTerminal().valid())
        return {};
    const std::lock_guard guard(title().mutex);
    std::u16string text = title().text.substr(0, size - 1);
    if (text.size() < title().text.size() && !text.empty() && isHighSurrogate(text.back()))
        text.pop_back();
    return text;
}

} // namespace norq_std_internal::platform
