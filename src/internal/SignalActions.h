#pragma once

namespace norq_std_internal {

/// The seam's signal actions, with their failures as exceptions of the family (see service/ISignalHandler.h).
class SignalActions {
public:
    SignalActions() = delete;

    static void ignore(int signal);
    static void useDefault(int signal);
    static void call(int signal, void (*handler)(int));
    /// Throws for null and for a mark of the C library; `call` does so too.
    static void checkHandler(int signal, void (*handler)(int));
};

} // namespace norq_std_internal
