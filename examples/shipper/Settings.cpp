#include "Settings.h"

#include "base/EncodingUtils.h"
#include "base/UtfUtils.h"
#include "concurrency/AutoLock.h"
#include "config/ConfigurationChangeEvent.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace shipper {

using norq_std::AutoLock;
using norq_std::ConfigurationChangeEvent;
using norq_std::Lock;
using norq_std::UtfUtils;
using norq_std::WString;

namespace {

constexpr const norq_std::WChar* SHIPPER = u"shipper";
constexpr const norq_std::WChar* FILES = u"files";
constexpr const norq_std::WChar* DELIVERY = u"delivery";

/// The bytes that stand in the file, which is read as windows-1252, where every byte has a character.
std::string bytesOf(const WString& text) { return norq_std::EncodingUtils::convertUnicodeToMbcs(text, 0); }

/// A value without the blanks in front that a configuration keeps, as in "key = value".
std::string trimmed(const WString& value) {
    const std::string bytes = bytesOf(value);
    return bytes.substr(std::min(bytes.find_first_not_of(" \t"), bytes.size()));
}

} // namespace

/// Collects the changes of keys, on the file watcher's thread.
class LiveSettings::News : public norq_std::ConfigurationListener {
public:
    void onConfigChange(const ConfigurationChangeEvent& event) override {
        std::string text(1, '[');
        text.append(bytesOf(event.getSection())).append("] ").append(bytesOf(event.getKey()));
        if (event.getEventType() == ConfigurationChangeEvent::Removed)
            text += " was removed";
        else
            text += " is now '" + trimmed(event.getValue()) + "'";
        const AutoLock<Lock> guard(lock);
        texts.push_back(std::move(text));
        changed.signal();
    }

    norq_std::Event changed{true, false};
    Lock lock;
    std::vector<std::string> texts;
};

LiveSettings::LiveSettings(const Options& commandLine)
    : options(commandLine)
    , news(std::make_shared<News>()) {
    if (options.config.empty())
        return;
    config = std::make_unique<norq_std::NorqConfig>(UtfUtils::utf8ToUtf16(options.config));
    config->addConfigurationListener(news); // first, so that no change falls between
    config->load();
}

LiveSettings::~LiveSettings() {
    if (config)
        config->removeConfigurationListener(news);
}

std::string LiveSettings::value(const WString& key, const WString& section) const {
    return config ? trimmed(config->getValue(key, section)) : std::string();
}

Settings LiveSettings::current() const {
    Settings settings;
    settings.files.insert(options.files.begin(), options.files.end());
    if (config && options.files.empty())
        for (const WString& key : config->getKeys(FILES))
            if (const std::string path = value(key, FILES); !path.empty())
                settings.files.insert(path);
    settings.match = options.match.empty() ? value(u"match", SHIPPER) : options.match;
    settings.output = options.output.empty() ? value(u"output", SHIPPER) : options.output;
    settings.workers = options.workers;
    if (const std::string workers = value(u"workers", SHIPPER); options.workers == 0 && !workers.empty())
        settings.workers = parseWorkers(workers);
    if (settings.workers == 0)
        settings.workers = defaultWorkers();
    if (config)
        settings.delivery = deliverySettings();
    if (settings.files.contains(settings.output))
        throw std::invalid_argument("the output " + settings.output + " is one of the files to read");
    return settings;
}

Delivery::Settings LiveSettings::deliverySettings() const {
    Delivery::Settings delivery;
    delivery.collectors = wire::parseEndpoints(value(u"collectors", DELIVERY));
    if (const std::string store = value(u"store", DELIVERY); !store.empty())
        delivery.state.store = parseStore(store);
    if (const std::string node = value(u"node", DELIVERY); !node.empty())
        delivery.state.path = node;
    if (!delivery.state.path.starts_with('/'))
        throw std::invalid_argument("node takes a path that begins with a slash, not '" + delivery.state.path + "'");
    if (const std::string retry = value(u"retry", DELIVERY); !retry.empty()) {
        const auto parsed = std::from_chars(retry.data(), retry.data() + retry.size(), delivery.retryMs);
        if (parsed.ec != std::errc() || parsed.ptr != retry.data() + retry.size() || delivery.retryMs < 1)
            throw std::invalid_argument("retry takes a number of milliseconds, not '" + retry + "'");
    }
    return delivery;
}

norq_std::Event& LiveSettings::changed() { return news->changed; }

std::vector<std::string> LiveSettings::takeNews() {
    const AutoLock<Lock> guard(news->lock);
    return std::exchange(news->texts, {});
}

} // namespace shipper
