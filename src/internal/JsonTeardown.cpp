#include "internal/JsonTeardown.h"

#include "base/JsonArray.h"
#include "base/JsonObject.h"

#include <new>
#include <typeinfo>

namespace norq_std_internal {

namespace {

using Deferred = std::vector<std::shared_ptr<norq_std::JsonAware>>;

// Plain data, so that a thread needs no set-up and no clean-up for them.
thread_local std::size_t depth = 0;
thread_local Deferred* deferred = nullptr;

} // namespace

JsonTeardown::JsonTeardown() noexcept
    : deep(++depth > deepest) {}

JsonTeardown::~JsonTeardown() {
    if (depth == 1 && deferred != nullptr) {
        // What is released here counts from depth 1 again, and may put more aside.
        while (!deferred->empty()) {
            const std::shared_ptr<norq_std::JsonAware> value = std::move(deferred->back());
            deferred->pop_back();
        }
        delete deferred;
        deferred = nullptr;
    }
    --depth;
}

void JsonTeardown::defer(std::shared_ptr<norq_std::JsonAware>& value) noexcept {
    const norq_std::JsonAware* const object = value.get();
    if (object == nullptr)
        return;
    const std::type_info& type = typeid(*object);
    if (type != typeid(norq_std::JsonArray) && type != typeid(norq_std::JsonObject))
        return;
    try {
        if (deferred == nullptr)
            deferred = new Deferred;
        deferred->push_back(std::move(value));
    } catch (const std::bad_alloc&) {
    }
}

} // namespace norq_std_internal
