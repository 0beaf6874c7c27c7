#pragma once

#include "LineBatch.h"
#include "RunState.h"

#include "thread/Runnable.h"

#include <cstdio>

namespace shipper {

/// Reads one file into the queue, in batches of whole lines.
class FileReader : public norq_std::Runnable {
public:
    FileReader(std::string path, BatchQueue& queue, RunState& state);

    norq_std::WString toString() const override;
    void run() override;

private:
    /// 0, or the system's error number.
    int read(std::FILE* file);
    void fail(const std::string& what, int error);

    const std::string path;
    const std::shared_ptr<const norq_std::WString> source;
    BatchQueue& queue;
    RunState& state;
};

} // namespace shipper
