#include "platform/linux/FaultContext.h"

#include "platform/linux/StackWalk.h"

#include <cstdlib>
#include <optional>
#include <pthread.h>
#include <ucontext.h>

#if !defined(__x86_64__)
#error "Processor faults are translated on x86-64: another processor needs its registers named here"
#endif

// Where a hooked function returns to. Nothing is ever executed here: it faults.
extern "C" __attribute__((visibility("hidden"))) const char norqstdReturnHook[];
asm(".pushsection .text\n"
    ".hidden norqstdReturnHook\n"
    ".globl norqstdReturnHook\n"
    "norqstdReturnHook: ud2\n"
    ".popsection\n");

namespace norq_std_internal::platform {
namespace {

// Of the hardware's trap record.
constexpr greg_t GeneralProtection = 13;
constexpr greg_t PageFault = 14;
constexpr greg_t WriteAccess = 0x02;
constexpr greg_t InstructionFetch = 0x10;

// Of an access fault's first parameter.
constexpr std::uint64_t Read = 0;
constexpr std::uint64_t Write = 1;
constexpr std::uint64_t Execute = 8;

constexpr std::uint64_t UnknownAddress = ~std::uint64_t{0};

/// A push and a call store this much below the stack pointer at most; a leaf function uses 128 bytes of red zone.
constexpr std::uintptr_t BelowStackPointer = 4096;
/// How far one frame may reach beyond the end; a stack pointer further off belongs to another stack, such as a fiber's.
constexpr std::uintptr_t LargestFrame = 8 << 20;
/// How far above the computed low end the kernel may refuse to grow the main thread's stack.
constexpr std::uintptr_t LowEndSlack = 64 * 1024;

bool isInCLibrary(std::uintptr_t address) {
    return moduleOf(address) == moduleOf(reinterpret_cast<std::uintptr_t>(&::malloc));
}

/// Whether the instruction is one that only the kernel may execute. The others that end in general protection use an
/// address that is none.
bool isPrivileged(const unsigned char* code) {
    const bool inOrOut = (code[0] >= 0xE4 && code[0] <= 0xE7) || (code[0] >= 0xEC && code[0] <= 0xEF);
    const bool haltOrInterrupts = code[0] == 0xF4 || code[0] == 0xFA || code[0] == 0xFB;
    const bool system = code[0] == 0x0F && (code[1] <= 0x01 || code[1] == 0x06 || code[1] == 0x08 || code[1] == 0x09 ||
                                            (code[1] >= 0x20 && code[1] <= 0x23) || code[1] == 0x30 || code[1] == 0x32);
    return inOrOut || haltOrInterrupts || system;
}

std::uint32_t arithmeticCode(int kind) {
    switch (kind) {
    case FPE_INTDIV:
        return fault::IntegerDivideByZero;
    case FPE_INTOVF:
        return fault::IntegerOverflow;
    case FPE_FLTDIV:
        return fault::FloatDivideByZero;
    case FPE_FLTOVF:
        return fault::FloatOverflow;
    case FPE_FLTUND:
        return fault::FloatUnderflow;
    case FPE_FLTRES:
        return fault::FloatInexact;
    case FPE_FLTSUB:
        return fault::BoundsExceeded;
    default:
        return fault::FloatInvalid;
    }
}

} // namespace

std::uintptr_t FaultContext::instruction() const {
    return static_cast<std::uintptr_t>(registers.uc_mcontext.gregs[REG_RIP]);
}

std::uintptr_t FaultContext::stackPointer() const {
    return static_cast<std::uintptr_t>(registers.uc_mcontext.gregs[REG_RSP]);
}

bool FaultContext::isPageFault() const { return registers.uc_mcontext.gregs[REG_TRAPNO] == PageFault; }

bool FaultContext::isJumpIntoVoid() const {
    return signal == SIGSEGV && isPageFault() && (registers.uc_mcontext.gregs[REG_ERR] & InstructionFetch) != 0;
}

bool FaultContext::isExhaustedStack(const StackBounds& stack) const {
    if (signal != SIGSEGV || !isPageFault() || isJumpIntoVoid())
        return false;
    const auto address = reinterpret_cast<std::uintptr_t>(info.si_addr);
    const std::uintptr_t top = stackPointer();
    const bool onThisStack = top + LargestFrame >= stack.low && top <= stack.high;
    return onThisStack && address + BelowStackPointer >= top && address < stack.low + LowEndSlack;
}

std::uint64_t FaultContext::accessedAddress() const {
    return isPageFault() ? reinterpret_cast<std::uintptr_t>(info.si_addr) : UnknownAddress;
}

std::uint64_t FaultContext::accessKind() const {
    if (isJumpIntoVoid())
        return Execute;
    return isPageFault() && (registers.uc_mcontext.gregs[REG_ERR] & WriteAccess) != 0 ? Write : Read;
}

std::uint32_t FaultContext::segmentationCode(const StackBounds& stack) const {
    if (info.si_code == SEGV_BNDERR)
        return fault::BoundsExceeded;
    if (isExhaustedStack(stack))
        return fault::StackOverflow;
    const auto* const code =
        reinterpret_cast<const unsigned char*>(instruction()); // NOLINT(performance-no-int-to-ptr): a register
    const bool protection = registers.uc_mcontext.gregs[REG_TRAPNO] == GeneralProtection;
    return protection && isPrivileged(code) ? fault::PrivilegedInstruction : fault::AccessViolation;
}

std::uint32_t FaultContext::code(const StackBounds& stack) const {
    switch (signal) {
    case SIGSEGV:
        return segmentationCode(stack);
    case SIGBUS:
        if (info.si_code == BUS_ADRALN)
            return fault::Misaligned;
        return info.si_code == SI_KERNEL ? fault::AccessViolation : fault::PageError;
    case SIGFPE:
        return arithmeticCode(info.si_code);
    default:
        return info.si_code == ILL_PRVOPC || info.si_code == ILL_PRVREG ? fault::PrivilegedInstruction
                                                                        : fault::IllegalInstruction;
    }
}

FaultRecord FaultContext::record(const StackBounds& stack) const {
    FaultRecord result;
    result.code = code(stack);
    result.address = instruction();
    const bool ofMemory =
        result.code == fault::AccessViolation || result.code == fault::PageError || result.code == fault::StackOverflow;
    if (ofMemory) {
        result.parameterCount = 2;
        result.parameters[0] = accessKind();
        result.parameters[1] = accessedAddress();
    }
    return result;
}

/// Of a function that has not begun: what the call instruction pushed. 0 if the stack pointer points elsewhere.
std::uintptr_t FaultContext::returnAddress(const StackBounds& stack) const {
    const std::uintptr_t top = stackPointer();
    if (top < stack.low || top + sizeof(std::uintptr_t) > stack.high)
        return 0;
    return *reinterpret_cast<const std::uintptr_t*>(top); // NOLINT(performance-no-int-to-ptr): a register
}

const void* FaultContext::module(const StackBounds& stack) const {
    return moduleOf(isJumpIntoVoid() ? returnAddress(stack) - 1 : instruction());
}

void FaultContext::prepareForUnwinding(const StackBounds& stack) {
    if (isJumpIntoVoid()) {
        // One byte back lies in the call, where its landing pad is looked up.
        registers.uc_mcontext.gregs[REG_RIP] = static_cast<greg_t>(returnAddress(stack) - 1);
        registers.uc_mcontext.gregs[REG_RSP] += static_cast<greg_t>(sizeof(std::uintptr_t));
    } else if (isExhaustedStack(stack)) {
        leaveUnbuiltFrame();
    }
}

namespace {

// An exhausted stack shows first where a frame is being built: at a push, or at the first store into the new frame.
// The compiler expects no exception there, so a function that has clean-ups or handlers has no entry for the place, and
// an exception would end the process. Nothing that needs a clean-up exists before the first instruction that has one,
// so up to there the frame can be taken away whole. Behind the first call of a function its frame is known to be
// accessible down to its end.
bool isUnbuilt(const StackFrame& frame) {
    CallSites sites = frame.callSites();
    for (CallSite site; sites.next(site);) {
        if (frame.offset() < site.begin)
            return true;
        if (site.covers(frame.offset()) || site.cleansUp)
            return false;
    }
    return false;
}

} // namespace

void FaultContext::leaveUnbuiltFrame() {
    bool atUnbuiltFrame = false;
    std::optional<FrameRegisters> caller;
    walkStack([&](const StackFrame& frame) {
        if (atUnbuiltFrame) {
            caller.emplace(frame);
            return false;
        }
        if (!frame.isInterrupted() || frame.instruction() != instruction())
            return true;
        atUnbuiltFrame = isUnbuilt(frame);
        return atUnbuiltFrame;
    });
    if (caller)
        caller->assignTo(registers);
}

namespace {

bool catches(const StackFrame& frame) {
    CallSites sites = frame.callSites();
    for (CallSite site; sites.next(site);)
        if (site.covers(frame.offset()))
            return site.catches;
    return false;
}

} // namespace

bool FaultContext::runsIntoGeneratedCode(const StackBounds& stack) {
    const mcontext_t interrupted = registers.uc_mcontext;
    prepareForUnwinding(stack);
    bool inside = false;
    bool generated = false;
    walkStack([&](const StackFrame& frame) {
        inside = inside || (frame.isInterrupted() && frame.instruction() == instruction());
        if (!inside)
            return true;
        generated = frame.returnAddress() != 0 && moduleOf(frame.instruction()) == nullptr;
        return !generated && !catches(frame);
    });
    registers.uc_mcontext = interrupted;
    return generated;
}

bool FaultContext::exhaustsStackInCLibrary(const StackBounds& stack) const {
    return isExhaustedStack(stack) && isInCLibrary(instruction());
}

std::uintptr_t FaultContext::hookReturnFromCLibrary() {
    bool inside = false;
    std::uintptr_t place = 0;
    std::uintptr_t* slot = nullptr;
    walkStack([&](const StackFrame& frame) {
        if (!inside) {
            inside = frame.isInterrupted() && frame.instruction() == instruction();
            return true;
        }
        if (isInCLibrary(frame.instruction()))
            return true;
        place = frame.returnAddress();
        slot = reinterpret_cast<std::uintptr_t*>(frame.stackPointer()) -
               1; // NOLINT(performance-no-int-to-ptr): a register
        return false;
    });
    if (slot == nullptr || *slot != place)
        return 0;
    *slot = reinterpret_cast<std::uintptr_t>(&norqstdReturnHook);
    return place;
}

bool FaultContext::isAtReturnHook() const {
    return signal == SIGILL && instruction() == reinterpret_cast<std::uintptr_t>(&norqstdReturnHook);
}

void FaultContext::returnTo(std::uintptr_t place) {
    registers.uc_mcontext.gregs[REG_RIP] = static_cast<greg_t>(place - 1);
}

void FaultContext::restoreModes() const {
    constexpr std::uint32_t PendingExceptions = 0x3F;
    if (const auto* floating = registers.uc_mcontext.fpregs; floating != nullptr) {
        const std::uint32_t vectorModes = floating->mxcsr & ~PendingExceptions;
        const std::uint16_t stackModes = floating->cwd;
        asm volatile("ldmxcsr %0\n\tfldcw %1" : : "m"(vectorModes), "m"(stackModes));
    }
    pthread_sigmask(SIG_SETMASK, &registers.uc_sigmask, nullptr);
}

} // namespace norq_std_internal::platform
