#pragma once

#include "concurrency/Event.h"
#include "concurrency/Lock.h"

#include <atomic>
#include <string>
#include <string_view>

namespace shipper {

/// Where the lines go: a file or standard output. It takes the lines of a whole batch at once and keeps none back. Any
/// thread may call any operation.
///
/// It remembers its failure: after the first it signals `stop`, writes nothing more, and tells the reason when asked.
class Output {
public:
    enum class Mode { Replace, Append };

    /// Standard output, if `path` is empty.
    Output(const std::string& path, Mode mode, norq_std::Event& stop);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void write(std::string_view bytes);
    /// From now on appends to another file. 0, or the system's error number, and then all stays as it was.
    int switchTo(const std::string& path);
    /// Why writing failed, or 0. An error number of the system.
    int failure() const { return errorNumber; }

private:
    void fail(int error);

    norq_std::Event& stop;
    norq_std::Lock lock; ///< guards the file
    int descriptor;
    std::atomic<int> errorNumber{0};
};

} // namespace shipper
