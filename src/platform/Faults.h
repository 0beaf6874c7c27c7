#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstdint>

namespace norq_std_internal::platform {

/// What is known of one processor fault, in the family's terms.
struct FaultRecord {
    static constexpr std::uint32_t MaximumParameters = 15;

    std::uint32_t code = 0;
    std::uint32_t flags = 0; ///< not 0: the instruction cannot be continued
    const FaultRecord* chained = nullptr;
    std::uintptr_t address = 0; ///< of the faulting instruction
    std::uint32_t parameterCount = 0;
    /// Of an access fault: 0 for a read, 1 for a write, 8 for an execution; and the address that was accessed.
    std::uint64_t parameters[MaximumParameters] = {};
};

namespace fault {
constexpr std::uint32_t Misaligned = 0x80000002;
constexpr std::uint32_t Breakpoint = 0x80000003;
constexpr std::uint32_t SingleStep = 0x80000004;
constexpr std::uint32_t AccessViolation = 0xC0000005;
constexpr std::uint32_t PageError = 0xC0000006;
constexpr std::uint32_t IllegalInstruction = 0xC000001D;
constexpr std::uint32_t NotContinuable = 0xC0000025;
constexpr std::uint32_t InvalidDisposition = 0xC0000026;
constexpr std::uint32_t BoundsExceeded = 0xC000008C;
constexpr std::uint32_t FloatDenormal = 0xC000008D;
constexpr std::uint32_t FloatDivideByZero = 0xC000008E;
constexpr std::uint32_t FloatInexact = 0xC000008F;
constexpr std::uint32_t FloatInvalid = 0xC0000090;
constexpr std::uint32_t FloatOverflow = 0xC0000091;
constexpr std::uint32_t FloatStackCheck = 0xC0000092;
constexpr std::uint32_t FloatUnderflow = 0xC0000093;
constexpr std::uint32_t IntegerDivideByZero = 0xC0000094;
constexpr std::uint32_t IntegerOverflow = 0xC0000095;
constexpr std::uint32_t PrivilegedInstruction = 0xC0000096;
constexpr std::uint32_t StackOverflow = 0xC00000FD;
} // namespace fault

/// Turns a fault into an exception, which it throws. It runs on the faulting thread, on a stack of its own.
using FaultTranslator = void (*)(const FaultRecord& record);

/// From now on the calling thread's processor faults go to the translator, whose exception is thrown from the faulting
/// instruction. Only faults whose instruction lies in a module that the dynamic loader knows are served; all others go
/// to the handler that the process had before. False, with the last error set, where that cannot be arranged.
bool serveFaultsOfThisThread(FaultTranslator translator);

/// Puts the handlers in place that serve threads later, so that whatever installs handlers next comes before them and
/// hands on what it does not know. False, with the last error set, where that cannot be arranged.
bool installFaultHandlers();

/// The module of this code is a virtual machine, which lives by faults of its own and keeps the ends of the stacks of
/// its threads. Faults inside it are never translated, no reserve is set aside on a stack from now on, and handlers of
/// its that stand already are not replaced. Null: there is none after all.
void setVirtualMachine(const void* code);

/// Gives back what is set aside at the end of the calling thread's stack, before a virtual machine sets up its own.
void giveUpStackReserve() noexcept;

/// To be called when the exception of an exhausted stack has been dealt with: the room at the stack's end that was
/// opened for its passing is put aside again.
void restoreStackReserve() noexcept;

/// Receives a violated parameter of a checked wrapper; texts may be null. It may throw.
using ParameterHandler = void (*)(const norq_std::WChar* expression, const norq_std::WChar* function,
                                  const norq_std::WChar* file, std::uint32_t line);

/// For the whole process; the last one counts.
void setParameterHandler(ParameterHandler handler) noexcept;

/// What a checked wrapper calls when an argument breaks its contract. Returns only if the handler does, or if there is
/// none; the wrapper then fails with InvalidParameter.
NORQSTD_EXPORT void invalidParameter(const norq_std::WChar* expression, const norq_std::WChar* function,
                                     const norq_std::WChar* file, std::uint32_t line);

} // namespace norq_std_internal::platform
