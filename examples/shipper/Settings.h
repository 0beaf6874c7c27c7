#pragma once

#include "Delivery.h"
#include "Options.h"

#include "concurrency/Event.h"
#include "concurrency/Lock.h"
#include "config/ConfigurationListener.h"
#include "config/NorqConfig.h"

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace shipper {

/// What the agent is to do at this moment.
struct Settings {
    std::set<std::string> files;
    std::string match;
    std::string output;
    unsigned workers = 1;
    Delivery::Settings delivery; ///< nowhere while there are no collectors
};

/// The settings of `shipper.cfg`, followed live. What the command line says goes before.
///
///     [shipper]
///     workers=2
///     match=installed
///     output=events.log
///
///     [files]
///     any name=/var/log/dpkg.log
///
///     [delivery]
///     collectors=host:4711, other:4711
///     store=registry
///     node=/Software/NorqStd/shipper
///     retry=1000
class LiveSettings {
public:
    /// Throws `std::invalid_argument` or a `NorqException` if the file cannot be read or holds what cannot be.
    explicit LiveSettings(const Options& options);
    ~LiveSettings();

    /// Throws `std::invalid_argument` for a value that cannot be.
    Settings current() const;

    /// Signalled when the file has changed.
    norq_std::Event& changed();
    /// What was heard since the last call, a sentence each.
    std::vector<std::string> takeNews();

private:
    class News;

    Delivery::Settings deliverySettings() const;
    std::string value(const norq_std::WString& key, const norq_std::WString& section) const;

    const Options options;
    const std::shared_ptr<News> news;
    std::unique_ptr<norq_std::NorqConfig> config; ///< null without a file
};

} // namespace shipper
