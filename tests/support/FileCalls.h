#pragma once

#include "support/Limits.h"

#include "base/UtfUtils.h"
#include "file/File.h"
#include "file/IFileListener.h"

#include <condition_variable>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace norqstd_test {

inline norq_std::File fileOf(const std::filesystem::path& path) {
    return norq_std::File(norq_std::UtfUtils::utf8ToUtf16(path.string()));
}

inline void write(const std::filesystem::path& path, const std::string& bytes,
                  std::ios::openmode mode = std::ios::trunc) {
    std::ofstream(path, std::ios::binary | std::ios::out | mode) << bytes;
}

/// Texts that one thread reports, in order, and another waits for.
class Reports {
public:
    void add(const std::string& text) {
        const std::lock_guard guard(mutex);
        texts.push_back(text);
        changed.notify_all();
    }
    /// The next one; "nothing" if none comes.
    std::string next() {
        std::unique_lock guard(mutex);
        if (!changed.wait_for(guard, longLimit(), [this] { return !texts.empty(); }))
            return "nothing";
        std::string text = texts.front();
        texts.pop_front();
        return text;
    }
    /// All up to the given one, without it.
    std::vector<std::string> until(std::string_view last) {
        std::vector<std::string> all;
        for (std::string text = next(); text != last; text = next()) {
            all.push_back(text);
            if (text == "nothing")
                break;
        }
        return all;
    }

    /// Runs in each call from now on, behind its report.
    void inEachCall(std::function<void()> newStep) {
        const std::lock_guard guard(mutex);
        step = std::move(newStep);
    }

protected:
    void reportAndRun(const std::string& text) {
        add(text);
        std::function<void()> now; // which may put another in its place
        {
            const std::lock_guard guard(mutex);
            now = step;
        }
        now();
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::string> texts;
    std::function<void()> step = [] {};
};

/// Reports each call as "created NAME" and the like.
class FileCalls : public norq_std::IFileListener, public Reports {
public:
    void onFileDeleted(const norq_std::File& file) override { report("deleted ", file); }
    void onFileCreated(const norq_std::File& file) override { report("created ", file); }
    void onFileAttributeChange(const norq_std::File& file) override { report("attributes ", file); }
    void onFileContentChange(const norq_std::File& file) override { report("content ", file); }

private:
    void report(const std::string& what, const norq_std::File& file) {
        reportAndRun(what + norq_std::UtfUtils::utf16ToUtf8(file.getName()));
    }
};

} // namespace norqstd_test
