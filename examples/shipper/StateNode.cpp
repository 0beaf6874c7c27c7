#include "StateNode.h"

#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "system/NorqSystem.h"

#include <algorithm>
#include <utility>

namespace shipper {
namespace {

using norq_std::File;
using norq_std::UtfUtils;
using norq_std::WString;

/// Runs a step, whose failure becomes a `StateError`.
template <class Step>
auto guarded(const std::string& what, const Step& step) {
    try {
        return step();
    } catch (const norq_std::NorqException& failure) {
        throw StateError(what + ": " + UtfUtils::utf16ToUtf8(failure.getMessage()));
    }
}

/// What the settings say goes before what the environment says. The registry is to sync each change.
void choose(StateNode::Store store) {
    auto& system = norq_std::NorqSystem::getInstance();
    const bool isRegistry = store == StateNode::Store::REGISTRY;
    system.putEnv(u"default.PreferencesFactory",
                  isRegistry ? u"norq_std.RegistryPreferencesFactory" : u"norq_std.FilePreferencesFactory");
    system.putEnv(u"NORQSTD_REGISTRY_SYNC", u"full");
}

/// Where the user's hive is, or would be.
File dataFolder() {
    for (const norq_std::WChar* const variable : {u"NORQSTD_REGISTRY_USER", u"XDG_DATA_HOME"})
        if (const WString folder = norq_std::NorqSystem::getInstance().getEnv(variable); !folder.empty())
            return File(folder);
    return File(File::getUserDirectory(), u".local\\share");
}

void hold(norq_std::LockedFile& lock, const StateNode::Address& address) {
    std::string leaf = nameOf(address.store) + address.path + ".lock";
    std::replace(leaf.begin(), leaf.end(), '/', '-');
    const File folder(dataFolder(), u"shipper");
    folder.mkdirs();
    lock.open(File(folder, UtfUtils::utf8ToUtf16(leaf)), norq_std::LockedFile::Append, nullptr);
}

} // namespace

StateNode::StateNode(const Address& itsAddress, StepHook stepHook)
    : address(itsAddress)
    , name(std::string("the node ") + address.path + (address.store == Store::FILES ? " in files" : " of the registry"))
    , hook(std::move(stepHook)) {
    guarded("another agent holds " + name + ", or it cannot be locked", [&] { hold(lock, address); });
    guarded(name + " cannot be had", [&] {
        choose(address.store);
        node = norq_std::Preferences::userRoot()->node(UtfUtils::utf8ToUtf16(address.path));
    });
}

StateNode::~StateNode() = default;

/// Files are silent about one that is there and cannot be read, and would then write over it.
bool StateNode::isNewOnDisk() const {
    if (address.store != Store::FILES)
        return true;
    std::string path = address.path + "/prefs.cfg";
    std::replace(path.begin(), path.end(), '/', '\\');
    return !File(File::getUserDirectory().getPath() + UtfUtils::utf8ToUtf16(path)).exists();
}

std::map<std::string, std::string> StateNode::read() const {
    return guarded(name + " cannot be read", [&] {
        std::map<std::string, std::string> values;
        for (const WString& key : node->keys())
            values[UtfUtils::utf16ToUtf8(key)] = UtfUtils::utf16ToUtf8(node->get(key, u""));
        const auto isEmpty = [](const auto& entry) { return entry.second.empty(); };
        if (std::any_of(values.begin(), values.end(), isEmpty) || (values.empty() && !isNewOnDisk()))
            throw StateError(name + " cannot be read");
        return values;
    });
}

void StateNode::put(const std::string& key, const std::string& value) {
    if (hook)
        hook("put");
    guarded(name + " cannot be written", [&] {
        const WString wideKey = UtfUtils::utf8ToUtf16(key);
        const WString text = UtfUtils::utf8ToUtf16(value);
        // The registry keeps silent about what it could not write, and files give nothing back before the first flush.
        const auto isThere = [&] { return node->get(wideKey, u"") == text; };
        node->put(wideKey, text);
        if (isThere())
            return;
        node->flush();
        if (!isThere())
            throw StateError(name + " cannot be written: " + key + " did not stay");
    });
}

void StateNode::remove(const std::string& key) {
    if (hook)
        hook("remove");
    guarded(name + " cannot be written", [&] { node->remove(UtfUtils::utf8ToUtf16(key)); });
}

void StateNode::flush() {
    if (hook)
        hook("flush");
    guarded(name + " cannot be written", [&] { node->flush(); });
}

StateNode::Store parseStore(const std::string& text) {
    for (const StateNode::Store store : {StateNode::Store::REGISTRY, StateNode::Store::FILES})
        if (text == nameOf(store))
            return store;
    throw std::invalid_argument("store takes registry or files, not '" + text + "'");
}

const char* nameOf(StateNode::Store store) { return store == StateNode::Store::REGISTRY ? "registry" : "files"; }

} // namespace shipper
