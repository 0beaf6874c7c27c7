#include "Output.h"

#include "concurrency/AutoLock.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace shipper {
namespace {

constexpr mode_t PERMISSIONS = 0666; // less the process's mask

int openFile(const std::string& path, int flags) {
    return path.empty() ? STDOUT_FILENO : open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, PERMISSIONS);
}

void closeFile(int descriptor) {
    if (descriptor > STDERR_FILENO)
        close(descriptor);
}

} // namespace

Output::Output(const std::string& path, Mode mode, norq_std::Event& stopEvent)
    : stop(stopEvent)
    , descriptor(openFile(path, mode == Mode::Append ? O_APPEND : O_TRUNC)) {
    if (descriptor < 0)
        fail(errno);
}

Output::~Output() { closeFile(descriptor); }

void Output::write(std::string_view bytes) {
    const norq_std::AutoLock<norq_std::Lock> guard(lock);
    while (!bytes.empty() && errorNumber == 0) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
        else if (errno != EINTR)
            fail(errno);
    }
}

int Output::switchTo(const std::string& path) {
    const int next = openFile(path, O_APPEND);
    if (next < 0)
        return errno;
    const norq_std::AutoLock<norq_std::Lock> guard(lock);
    closeFile(std::exchange(descriptor, next));
    return 0;
}

void Output::fail(int error) {
    errorNumber = error;
    stop.signal();
}

} // namespace shipper
