#pragma once

#include "log/ILogAppender.h"

#include <string>

namespace shipper {

/// Collects lines as UTF-8 until they are taken: the end of one worker's pipeline.
///
/// A worker has a pipeline of its own, so that no worker waits for another line by line. For one thread.
class BatchAppender : public norq_std::ILogAppender {
public:
    BatchAppender();

    norq_std::WString toString() const override;
    BatchAppender* newInstance(const Properties& properties) const override;

    /// The lines since the last `clear`.
    const std::string& collected();
    void clear();

protected:
    void localAppend(const norq_std::LogEvent& event) override;
    void localAppend(const norq_std::WString& text) override;

private:
    void convert();

    norq_std::WString wide; ///< not converted yet: many lines are converted at once
    std::string bytes;
};

} // namespace shipper
