#include "internal/JsonTeardown.h"

#include "base/JsonArray.h"
#include "base/JsonObject.h"

#include <new>
#include <typeinfo>

namespace norq_std_internal {

namespace {

// Plain data, so that a thread needs no set-up and no clean-up for it.
constinit thread_local JsonTeardown::State threadState;

} // namespace

JsonTeardown::JsonTeardown() noexcept
    : state(threadState) {
    ++state.depth;
}

JsonTeardown::~JsonTeardown() {
    if (state.depth == 1 && state.deferred != nullptr) {
        // What is released here counts from depth 1 again, and may put more aside.
        while (!state.deferred->empty()) {
            const std::shared_ptr<norq_std::JsonAware> value = std::move(state.deferred->back());
            state.deferred->pop_back();
        }
        delete state.deferred;
        state.deferred = nullptr;
    }
    --state.depth;
}

void JsonTeardown::defer(std::shared_ptr<norq_std::JsonAware>& value) noexcept {
    const norq_std::JsonAware* const object = value.get();
    if (object == nullptr)
        return;
    const std::type_info& type = typeid(*object);
    if (type != typeid(norq_std::JsonArray) && type != typeid(norq_std::JsonObject))
        return;
    try {
        if (state.deferred == nullptr)
            state.deferred = new std::vector<std::shared_ptr<norq_std::JsonAware>>;
        state.deferred->push_back(std::move(value));
    } catch (const std::bad_alloc&) {
    }
}

} // namespace norq_std_internal
