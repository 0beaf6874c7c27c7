#pragma once

#include <utility>

#include <unistd.h>

namespace norq_std_internal::platform {

/// Owns a file descriptor.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int owned) noexcept
        : descriptor(owned) {}
    Descriptor(Descriptor&& other) noexcept
        : descriptor(std::exchange(other.descriptor, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(descriptor, other.descriptor);
        return *this;
    }
    ~Descriptor() {
        if (descriptor >= 0)
            ::close(descriptor);
    }

    int get() const noexcept { return descriptor; }
    /// The caller owns it from now on.
    int release() noexcept { return std::exchange(descriptor, -1); }
    bool valid() const noexcept { return descriptor >= 0; }

private:
    int descriptor = -1;
};

} // namespace norq_std_internal::platform
