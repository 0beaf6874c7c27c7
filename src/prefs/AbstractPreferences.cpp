#include "prefs/AbstractPreferences.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <utility>

namespace norq_std {

namespace {

/// The texts of the refusal are made only for one.
void checkLength(const WString& text, std::int32_t maximum, const WChar* function, const WChar* label) {
    if (text.size() > static_cast<std::size_t>(maximum)) [[unlikely]]
        ErrorUtils::isAboveMaxEx(static_cast<std::int64_t>(text.size()), maximum, function, label);
}

} // namespace

/// The nodes on a way down, each with its lock held.
struct AbstractPreferences::Descent {
    struct Step {
        explicit Step(Node enteredNode)
            : node(std::move(enteredNode))
            , guard(node->lock) {}

        Node node; // outlives the guard
        std::unique_lock<Lock> guard;
    };

    std::vector<Step> steps;
};

AbstractPreferences::AbstractPreferences(const std::shared_ptr<AbstractPreferences>& parent, const WString& name)
    : parentNode(parent)
    , parentPath(parent == nullptr ? WString() : parent->path())
    , nodeName(name) {
    static constexpr WChar Function[] = u"norq_std::AbstractPreferences::AbstractPreferences";
    checkLength(name, MAX_PREF_NAME_LENGTH, Function, u"Name length");
    if (name.find(SLASH) != WString::npos) {
        const NorqIllegalArgumentException exception(u"Name <" + name + u"> contains a forward slash");
        exception.logDebug(Function);
        throw NorqIllegalArgumentException(exception);
    }
    if (parent == nullptr && !name.empty())
        throw NorqIllegalArgumentException(u"Parent is NULL and name is not empty string.");
    if (parent != nullptr && name.empty())
        throw NorqIllegalArgumentException(u"Parent is not NULL and name is empty string.");
}

AbstractPreferences::~AbstractPreferences() {
    // The last holder of a removed node may hold a whole branch: it ends from the foot up, without recursion.
    for (Node above = std::move(parentNode); above != nullptr && above.use_count() == 1;)
        above = std::exchange(above->parentNode, nullptr);
}

WString AbstractPreferences::toString() const {
    return (isUserNode() ? u"User" : u"System") + WString(u" Preference Node: ") + absolutePath();
}

WString AbstractPreferences::absolutePath() const { return parentPath + SLASH + nodeName; }

WString AbstractPreferences::path() const { return parentNode == nullptr ? WString() : absolutePath(); }

WString AbstractPreferences::name() const { return nodeName; }

void AbstractPreferences::addPreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>&) {}

void AbstractPreferences::removePreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>&) {}

void AbstractPreferences::assertNodeNotRemoved(const WChar* function) const {
    if (!removed) [[likely]]
        return;
    const NorqIllegalStateException exception(u"Node removed");
    exception.logDebug(function);
    throw NorqIllegalStateException(exception);
}

void AbstractPreferences::checkKey(const WString& key, const WChar* function) {
    checkLength(key, MAX_PREF_KEY_LENGTH, function, u"Key length");
}

void AbstractPreferences::checkEntry(const WString& key, const WString& value, const WChar* function) {
    if (key.empty()) [[unlikely]]
        ErrorUtils::isEmptyEx(key, function, u"key");
    checkKey(key, function);
    checkLength(value, MAX_PREF_VALUE_LENGTH, function, u"Value length");
}

WString AbstractPreferences::get(const WString& key, const WString& defaultValue) const {
    static constexpr WChar Function[] = u"norq_std::AbstractPreferences::get";
    checkKey(key, Function);
    const AutoLock<Lock> guard(lock);
    assertNodeNotRemoved(Function);
    try {
        return getSpi(key);
    } catch (const NorqException&) {
        return defaultValue;
    }
}

void AbstractPreferences::put(const WString& key, const WString& value) {
    static constexpr WChar Function[] = u"norq_std::AbstractPreferences::put";
    checkEntry(key, value, Function);
    const AutoLock<Lock> guard(lock);
    assertNodeNotRemoved(Function);
    putSpi(key, value);
}

void AbstractPreferences::remove(const WString& key) {
    static constexpr WChar Function[] = u"norq_std::AbstractPreferences::remove";
    checkKey(key, Function);
    const AutoLock<Lock> guard(lock);
    assertNodeNotRemoved(Function);
    removeSpi(key);
}

void AbstractPreferences::clear() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::clear");
    const AutoLock<Lock> guard(lock);
    assertNodeNotRemoved(u"norq_std::AbstractPreferences::clear");
    for (const WString& key : keys())
        removeSpi(key);
}

std::vector<WString> AbstractPreferences::keys() const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::keys");
    const AutoLock<Lock> guard(lock);
    assertNodeNotRemoved(u"norq_std::AbstractPreferences::keys");
    return keysSpi();
}

std::vector<WString> AbstractPreferences::childrenNames() const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::childrenNames");
    const AutoLock<Lock> guard(lock);
    assertNodeNotRemoved(u"norq_std::AbstractPreferences::childrenNames");
    std::vector<WString> names = childrenNamesSpi();
    for (const auto& [childName, child] : children)
        names.push_back(childName);
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

std::shared_ptr<Preferences> AbstractPreferences::parent() const {
    const AutoLock<Lock> guard(lock);
    assertNodeNotRemoved(u"norq_std::AbstractPreferences::parent");
    return parentNode;
}

bool AbstractPreferences::isUserNode() const { return getRootNode() == Preferences::userRoot(); }

std::shared_ptr<AbstractPreferences> AbstractPreferences::getRootNode() const {
    const AbstractPreferences* root = this;
    while (root->parentNode != nullptr)
        root = root->parentNode.get();
    return std::const_pointer_cast<AbstractPreferences>(root->shared_from_this());
}

std::vector<std::shared_ptr<AbstractPreferences>> AbstractPreferences::cachedChildren() const {
    const AutoLock<Lock> guard(lock);
    std::vector<Node> nodes;
    nodes.reserve(children.size());
    for (const auto& [childName, child] : children)
        nodes.push_back(child);
    return nodes;
}

bool AbstractPreferences::isRemoved() const {
    const AutoLock<Lock> guard(lock);
    return removed;
}

std::shared_ptr<AbstractPreferences> AbstractPreferences::getChild(const WString& childName) const {
    const AutoLock<Lock> guard(lock);
    const auto found = children.find(childName);
    return found == children.end() ? nullptr : found->second;
}

void AbstractPreferences::assertValidPath(const WString& path) {
    const bool endsInSlash = path.size() > 1 && path.back() == SLASH;
    if (endsInSlash || path.find(u"//") != WString::npos)
        throw NorqIllegalArgumentException(u"Invalid path name <" + path + u">.");
}

std::shared_ptr<Preferences> AbstractPreferences::node(const WString& path) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::node");
    {
        const AutoLock<Lock> guard(lock);
        assertNodeNotRemoved(u"norq_std::AbstractPreferences::node");
        if (!path.starts_with(SLASH)) {
            assertValidPath(path);
            return getNode(path);
        }
    }
    return getRootNode()->node(path.substr(std::min(path.find_first_not_of(SLASH), path.size())));
}

// The analysis cannot follow locks of several nodes.
std::shared_ptr<AbstractPreferences>
AbstractPreferences::getNode(std::u16string_view path) NORQ_NO_THREAD_SAFETY_ANALYSIS {
    Descent descent;
    Node current = shared_from_this();
    while (!path.empty()) {
        std::size_t end = path.find(SLASH);
        if (end == std::u16string_view::npos)
            end = path.find(u'\\');
        const bool isLast = end == std::u16string_view::npos;
        Node child = current->childNamed(path.substr(0, end));
        path.remove_prefix(isLast ? path.size() : end + 1);
        descent.steps.emplace_back(child);
        current = std::move(child);
    }
    return current;
}

std::shared_ptr<AbstractPreferences> AbstractPreferences::childNamed(std::u16string_view childName) {
    if (const auto found = children.find(childName); found != children.end())
        return found->second;
    const WString newName(childName);
    checkLength(newName, MAX_PREF_NAME_LENGTH, u"norq_std::AbstractPreferences::getNode", u"Child node name length");
    Node child = childSpi(newName);
    children.emplace(newName, child);
    return child;
}

bool AbstractPreferences::nodeExists(const WString& path) const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::nodeExists");
    {
        const AutoLock<Lock> guard(lock);
        assertNodeNotRemoved(u"norq_std::AbstractPreferences::nodeExists");
        if (!path.starts_with(SLASH)) {
            assertValidPath(path);
            return existsNode(path);
        }
    }
    return getRootNode()->nodeExists(path.substr(std::min(path.find_first_not_of(SLASH), path.size())));
}

bool AbstractPreferences::existsNode(const WString& path) const { return path.empty() ? !removed : existsSpi(path); }

void AbstractPreferences::flush() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::flush");
    {
        const AutoLock<Lock> guard(lock);
        assertNodeNotRemoved(u"norq_std::AbstractPreferences::flush");
    }
    flushNode(false);
}

void AbstractPreferences::sync() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::sync");
    {
        const AutoLock<Lock> guard(lock);
        assertNodeNotRemoved(u"norq_std::AbstractPreferences::sync");
    }
    flushNode(true);
}

// From the top down, with one lock at a time; a child that is gone when its turn comes is left out.
void AbstractPreferences::flushNode(bool isSync) {
    struct Level {
        Node node;
        std::vector<WString> names; // of the children that are still to come, last first
    };
    std::vector<Level> levels;
    levels.push_back({shared_from_this(), flushAlone(isSync)});
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.names.empty()) {
            levels.pop_back();
            continue;
        }
        const WString childName = std::move(level.names.back());
        level.names.pop_back();
        if (Node child = level.node->getChild(childName)) {
            std::vector<WString> names = child->flushAlone(isSync);
            levels.push_back({std::move(child), std::move(names)});
        }
    }
}

std::vector<WString> AbstractPreferences::flushAlone(bool isSync) {
    const AutoLock<Lock> guard(lock);
    if (removed)
        return {};
    if (isSync)
        syncSpi();
    else
        flushSpi();
    std::vector<WString> names;
    names.reserve(children.size());
    for (const auto& [childName, child] : children)
        names.push_back(childName);
    std::reverse(names.begin(), names.end());
    return names;
}

// The analysis cannot follow locks of several nodes.
void AbstractPreferences::removeNode() NORQ_NO_THREAD_SAFETY_ANALYSIS {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::removeNode");
    static constexpr WChar Function[] = u"norq_std::AbstractPreferences::removeNode";
    const Node self = shared_from_this(); // outlives the guards
    const Node above = parentNode;
    ErrorUtils::isNullEx(above, Function, u"Parent");
    const AutoLock<Lock> guard(above->lock);
    {
        const AutoLock<Lock> ownGuard(lock);
        assertNodeNotRemoved(Function);
        purge();
    }
    above->children.erase(nodeName);
}

// From the foot up, with the locks of all nodes on the way held; without recursion, since a tree may be deep.
void AbstractPreferences::purge() NORQ_NO_THREAD_SAFETY_ANALYSIS {
    struct Level {
        explicit Level(const Node& enteredNode)
            : node(enteredNode)
            , guard(node->lock) {
            for (const auto& [childName, child] : node->children)
                rest.push_back(child);
            std::reverse(rest.begin(), rest.end());
        }

        Node node; // outlives the guard
        std::unique_lock<Lock> guard;
        std::vector<Node> rest; // the children that are still to come, last first
    };
    std::vector<Level> levels;
    levels.emplace_back(shared_from_this());
    while (!levels.empty()) {
        Level& level = levels.back();
        if (!level.rest.empty()) {
            const Node child = std::move(level.rest.back());
            level.rest.pop_back();
            levels.emplace_back(child);
            continue;
        }
        level.node->removeNodeSpi();
        level.node->removed = true;
        const Node gone = level.node;
        levels.pop_back();
        if (!levels.empty()) // at once: a failure further on must not leave it to be found
            levels.back().node->children.erase(gone->nodeName);
    }
}

} // namespace norq_std
