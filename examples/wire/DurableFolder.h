#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace wire {

/// A folder whose changes happen wholly or not at all, and last once an operation has returned, whatever ends the
/// process or the machine: a file is written under another name, synced, renamed, and the folder is synced.
///
/// What a killed process left half-written is cleared away when the folder is opened. Failures of the system are
/// `std::system_error`s. For one thread; one process at a time holds a folder, which is locked.
class DurableFolder {
public:
    /// Called before each step that changes the disk, with its name. One that throws stands for a process that was
    /// killed there.
    using StepHook = std::function<void(const char* step)>;

    /// Makes the folder, and its parents, if they are not there. Throws `std::runtime_error` if another process holds
    /// it.
    explicit DurableFolder(const std::string& path, StepHook hook = {});
    ~DurableFolder();
    DurableFolder(const DurableFolder&) = delete;
    DurableFolder& operator=(const DurableFolder&) = delete;

    const std::string& getPath() const { return path; }

    std::vector<std::string> list() const; ///< names of the files, in order
    std::optional<std::string> read(const std::string& name) const;

    /// The file has this content from now on, durably.
    void replace(const std::string& name, const std::string& content);
    /// These two last after the next `sync` or `replace`.
    void rename(const std::string& from, const std::string& to);
    void remove(const std::string& name);
    void sync();

private:
    void step(const char* name) const {
        if (hook)
            hook(name);
    }
    std::string at(const std::string& name) const { return path + "/" + name; }

    const std::string path;
    const StepHook hook;
    int descriptor = -1;
};

} // namespace wire
