#include "platform/Faults.h"

#include <atomic>

namespace norq_std_internal::platform {
namespace {

constinit std::atomic<ParameterHandler> currentHandler{nullptr};

} // namespace

void setParameterHandler(ParameterHandler handler) noexcept {
    currentHandler.store(handler, std::memory_order_release);
}

void invalidParameter(const norq_std::WChar* expression, const norq_std::WChar* function, const norq_std::WChar* file,
                      std::uint32_t line) {
    if (const ParameterHandler handler = currentHandler.load(std::memory_order_acquire); handler != nullptr)
        handler(expression, function, file, line);
}

} // namespace norq_std_internal::platform
