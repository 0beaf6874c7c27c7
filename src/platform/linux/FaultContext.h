#pragma once

#include "platform/Faults.h"

#include <csignal>
#include <cstdint>

namespace norq_std_internal::platform {

/// The bounds of a thread's own stack; addresses grow from `low` to `high`.
struct StackBounds {
    std::uintptr_t low = 0;
    std::uintptr_t high = 0;
};

/// What a signal handler was told about one processor fault, and the interrupted registers. Everything here may be
/// called from a signal handler.
class FaultContext {
public:
    FaultContext(int faultSignal, const siginfo_t& faultInfo, void* interrupted)
        : signal(faultSignal)
        , info(faultInfo)
        , registers(*static_cast<ucontext_t*>(interrupted)) {}

    FaultRecord record(const StackBounds& stack) const;

    /// The module of the instruction that is to blame, null if the dynamic loader knows none. Of a jump into the void
    /// that is the call instruction.
    const void* module(const StackBounds& stack) const;

    /// Whether an exception from here would meet, before anything that catches it, code that the dynamic loader does
    /// not know. A virtual machine made that, and nothing can be thrown through it.
    bool runsIntoGeneratedCode(const StackBounds& stack);

    /// Makes the interrupted place one that an exception can leave: a frame that was not yet built, and one that has no
    /// code, are taken away, as if the call instruction had failed.
    void prepareForUnwinding(const StackBounds& stack);

    /// Whether the stack ended in the midst of the C library, which an exception would leave with its locks held.
    bool exhaustsStackInCLibrary(const StackBounds& stack) const;
    /// Lets the C library's function come to its end and fault then, at `isAtReturnHook`: gives the place that it would
    /// have returned to, or 0 where that cannot be found.
    std::uintptr_t hookReturnFromCLibrary();
    bool isAtReturnHook() const;
    /// Makes the call that would have returned to this place the interrupted one.
    void returnTo(std::uintptr_t place);

    /// Gives the thread back the signal mask and the floating-point modes of the interrupted code. An exception that
    /// leaves a handler does not pass the return from the signal, which would do that.
    void restoreModes() const;

private:
    bool isPageFault() const;
    bool isJumpIntoVoid() const;
    bool isExhaustedStack(const StackBounds& stack) const;
    std::uintptr_t instruction() const;
    std::uintptr_t stackPointer() const;
    std::uintptr_t returnAddress(const StackBounds& stack) const;
    std::uint32_t code(const StackBounds& stack) const;
    std::uint32_t segmentationCode(const StackBounds& stack) const;
    std::uint64_t accessedAddress() const;
    std::uint64_t accessKind() const;
    void leaveUnbuiltFrame();

    int signal;
    const siginfo_t& info;
    ucontext_t& registers;
};

} // namespace norq_std_internal::platform
