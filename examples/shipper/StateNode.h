#pragma once

#include "file/LockedFile.h"
#include "prefs/Preferences.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

namespace shipper {

/// What the agent must not forget cannot be read or written.
class StateError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The node of the user's preferences in which an agent keeps what it must not forget, as texts of ASCII under keys.
///
/// Each change of one key happens wholly or not at all, and in the order of the calls: the registry takes each at once,
/// files take them together at `flush`. So whoever writes several keys writes them in an order in which each beginning
/// makes sense. What was flushed lasts, whatever ends the process or the machine.
///
/// A node has one agent at a time, which holds a locked file in the user's data folder. For one thread.
class StateNode {
public:
    enum class Store : std::uint8_t { REGISTRY, FILES };

    /// Where a node is.
    struct Address {
        Store store = Store::REGISTRY;
        std::string path = "/Software/NorqStd/shipper";

        bool operator==(const Address&) const = default;
    };

    /// Called before each step that changes the store, with its name. One that throws stands for a process that was
    /// killed there.
    using StepHook = std::function<void(const char* step)>;

    /// Makes the node where it is not there, and decides on the store of the whole process. Throws `StateError` if
    /// another agent holds the node or it cannot be had.
    explicit StateNode(const Address& address, StepHook hook = {});
    ~StateNode();
    StateNode(const StateNode&) = delete;
    StateNode& operator=(const StateNode&) = delete;

    // All of these throw `StateError`.

    /// All that is there; empty for a node that is new, and never because it cannot be read.
    std::map<std::string, std::string> read() const;
    void put(const std::string& key, const std::string& value);
    void remove(const std::string& key);
    void flush();

    const std::string& toString() const { return name; }

private:
    bool isNewOnDisk() const;

    const Address address;
    const std::string name; ///< for messages
    const StepHook hook;
    norq_std::LockedFile lock;
    std::shared_ptr<norq_std::Preferences> node;
};

/// "registry" and "files". Throws `std::invalid_argument` for anything else.
StateNode::Store parseStore(const std::string& text);
const char* nameOf(StateNode::Store store);

} // namespace shipper
