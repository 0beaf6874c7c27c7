#pragma once

#include "base/JsonAware.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace norq_std_internal {

/// Keeps the stack flat while a deep document dies.
///
/// Stands in the destructor of every array and object, around the release of its values. Down to `deepest` levels they
/// release each other by plain recursion; from there on containers are put aside, and the outermost destructor of the
/// thread releases them when the rest is gone.
class JsonTeardown {
public:
    /// Of one thread.
    struct State {
        std::size_t depth = 0;
        std::vector<std::shared_ptr<norq_std::JsonAware>>* deferred = nullptr;
    };

    JsonTeardown() noexcept;
    ~JsonTeardown();
    JsonTeardown(const JsonTeardown&) = delete;
    JsonTeardown& operator=(const JsonTeardown&) = delete;

    bool isDeep() const { return state.depth > deepest; }
    /// Puts the value aside if it is a container; otherwise, and if there is no memory for it, it stays where it is.
    void defer(std::shared_ptr<norq_std::JsonAware>& value) noexcept;

private:
    static constexpr std::size_t deepest = 128;

    State& state;
};

} // namespace norq_std_internal
