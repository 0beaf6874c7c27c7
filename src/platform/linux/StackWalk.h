#pragma once

#include "platform/linux/CallSites.h"

#include <array>
#include <cstddef>
#include <cstdint>

#include <dlfcn.h>
#include <ucontext.h>
#include <unwind.h>

namespace norq_std_internal::platform {

/// Tells modules that the dynamic loader knows apart; null for an address in none. Safe in a signal handler.
inline const void* moduleOf(std::uintptr_t address) {
    dl_find_object object{};
    auto* const place = reinterpret_cast<void*>(address); // NOLINT(performance-no-int-to-ptr): a register
    return ::_dl_find_object(place, &object) == 0 ? object.dlfo_map_start : nullptr;
}

/// One frame, valid while a walk stands at it. Safe in a signal handler.
class StackFrame {
public:
    explicit StackFrame(_Unwind_Context* unwound)
        : context(unwound) {
        int beforeInstruction = 0;
        place = _Unwind_GetIPInfo(context, &beforeInstruction);
        interrupted = beforeInstruction != 0;
    }

    /// Whether a signal struck here; otherwise the frame stands behind a call.
    bool isInterrupted() const { return interrupted; }
    /// The interrupted instruction, or an address within the call.
    std::uintptr_t instruction() const { return interrupted ? place : place - 1; }
    /// Where a call returns to.
    std::uintptr_t returnAddress() const { return place; }
    std::uintptr_t stackPointer() const { return _Unwind_GetCFA(context); }
    std::uintptr_t generalRegister(int unwinderNumber) const { return _Unwind_GetGR(context, unwinderNumber); }

    /// The instruction as an offset into its function.
    std::uintptr_t offset() const { return instruction() - _Unwind_GetRegionStart(context); }
    CallSites callSites() const { return CallSites(_Unwind_GetLanguageSpecificData(context)); }

private:
    _Unwind_Context* context;
    std::uintptr_t place;
    bool interrupted;
};

/// Walks over the calling thread's frames from the innermost out, until `visit(const StackFrame&)` gives false. Goes on
/// through the frame of a signal handler.
template <class Visit>
void walkStack(Visit visit) {
    _Unwind_Backtrace(
        [](_Unwind_Context* context, void* visitor) {
            return (*static_cast<Visit*>(visitor))(StackFrame(context)) ? _URC_NO_REASON : _URC_NORMAL_STOP;
        },
        &visit);
}

/// What a thread needs to go on in one of its frames: the registers that a function leaves as it found them.
class FrameRegisters {
public:
    FrameRegisters() = default;
    explicit FrameRegisters(const StackFrame& frame)
        : instruction(frame.instruction())
        , stackPointer(frame.stackPointer()) {
        for (std::size_t i = 0; i < Saved.size(); ++i)
            saved[i] = frame.generalRegister(Saved[i].unwinderNumber);
    }

    void assignTo(ucontext_t& thread) const {
        greg_t* const registers = thread.uc_mcontext.gregs;
        for (std::size_t i = 0; i < Saved.size(); ++i)
            registers[Saved[i].index] = static_cast<greg_t>(saved[i]);
        registers[REG_RSP] = static_cast<greg_t>(stackPointer);
        registers[REG_RIP] = static_cast<greg_t>(instruction);
    }

private:
    struct Name {
        int unwinderNumber;
        int index;
    };
    static constexpr std::array<Name, 6> Saved{
        {{3, REG_RBX}, {6, REG_RBP}, {12, REG_R12}, {13, REG_R13}, {14, REG_R14}, {15, REG_R15}}};

    std::uintptr_t instruction = 0;
    std::uintptr_t stackPointer = 0;
    std::array<std::uintptr_t, Saved.size()> saved{};
};

} // namespace norq_std_internal::platform
