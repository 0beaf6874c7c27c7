// Not built under ThreadSanitizer: an exception that leaves a signal handler passes its interceptor, which keeps a
// record of the calls that it is in and never sees the end of this one. The translation uses nothing that threads
// share.
#if !defined(__SANITIZE_THREAD__)

#include "platform/Faults.h"
#include "exception/NorqException.h"
#include "internal/FaultTranslation.h"
#include "support/NothingLeft.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cfenv>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <iterator>
#include <sys/mman.h>
#include <sys/resource.h>
#include <thread>
#include <ucontext.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#define UNCHECKED __attribute__((noipa, no_sanitize("address", "undefined")))

namespace {

using norq_std::NorqAccessException;
using norq_std::NorqException;
using norq_std::NorqIllegalArgumentException;
using norq_std::NorqRuntimeException;
using norq_std::WString;

UNCHECKED int readAt(const volatile int* address) { return *address; }
UNCHECKED void writeAt(volatile int* address) { *address = 1; }
UNCHECKED int divide(int a, int b) { return a / b; }
UNCHECKED double divideReal(double a, double b) { return a / b; }
UNCHECKED void illegal() { asm volatile("ud2"); }
UNCHECKED void privileged() { asm volatile("hlt"); }
UNCHECKED void call(void (*function)()) { function(); }

struct Fault {
    bool access = false;
    std::uint32_t code = 0;
    WString text;
    std::size_t destroyed = 0;
};

/// Runs what faults below a frame with a clean-up, and says what came out.
UNCHECKED Fault faultOf(const std::function<void()>& body) {
    struct Counter {
        std::size_t& destroyed;
        ~Counter() { ++destroyed; }
    };
    Fault fault;
    try {
        const Counter counter{fault.destroyed};
        body();
    } catch (const NorqException& e) {
        fault.access = dynamic_cast<const NorqAccessException*>(&e) != nullptr;
        EXPECT_EQ(fault.access, dynamic_cast<const NorqRuntimeException*>(&e) == nullptr);
        fault.code = static_cast<std::uint32_t>(e.getErrNum());
        fault.text = e.getMessage();
    }
    return fault;
}

class FaultsTest : public norqstd_test::NothingLeft {
protected:
    FaultsTest() { NorqException::installHandler(); }
};

char notCode[64];

TEST_F(FaultsTest, EachFaultIsThrownFromItsInstruction) {
    int number = 0;
    struct Case {
        const char* name;
        std::function<void()> body;
        std::uint32_t code;
        const char16_t* textEnd;
    };
    const Case cases[] = {
        {"null read", [] { readAt(nullptr); }, 0xC0000005,
         u". NumberParameters = 2. Param 0 value = 0. Param 1 value = 0."},
        {"read", [] { readAt(reinterpret_cast<int*>(0x1f0)); }, 0xC0000005,
         u" Param 0 value = 0. Param 1 value = 1f0."},
        {"write", [] { writeAt(reinterpret_cast<int*>(0xabc)); }, 0xC0000005,
         u" Param 0 value = 1. Param 1 value = abc."},
        {"no address", [] { readAt(reinterpret_cast<int*>(0x8000000000000000)); }, 0xC0000005,
         u" value = ffffffffffffffff."},
        {"null call", [] { call(nullptr); }, 0xC0000005,
         u" ExceptionAddress = 0. NumberParameters = 2. Param 0 value = 8. Param 1 value = 0."},
        {"data call", [] { call(reinterpret_cast<void (*)()>(notCode)); }, 0xC0000005, u""},
        {"integer division", [&] { number = divide(number + 1, number); }, 0xC0000094, u". NumberParameters = 0."},
        {"illegal instruction", [] { illegal(); }, 0xC000001D, u". NumberParameters = 0."},
        {"privileged instruction", [] { privileged(); }, 0xC0000096, u". NumberParameters = 0."},
    };
    for (int round = 0; round < 2; ++round)
        for (const Case& c : cases) {
            const Fault fault = faultOf(c.body);
            EXPECT_EQ(fault.code, c.code) << c.name;
            EXPECT_EQ(fault.access, c.code == 0xC0000005) << c.name;
            EXPECT_EQ(fault.destroyed, 1u) << c.name;
            EXPECT_TRUE(fault.text.ends_with(c.textEnd)) << c.name;
            EXPECT_NE(fault.text.find(u" Continuable exception. ExceptionAddress = "), WString::npos) << c.name;
        }
}

TEST_F(FaultsTest, MappedPageBehindTheEndOfItsFileIsAPageError) {
    const int file = ::open((folder() / "short").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0);
    void* const page = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0);
    ASSERT_NE(page, MAP_FAILED);
    EXPECT_EQ(faultOf([&] { readAt(static_cast<int*>(page)); }).code, 0xC0000006);
    ::munmap(page, 4096);
    ::close(file);
}

TEST_F(FaultsTest, FloatingPointTrapsStayOnBehindAFault) {
    feenableexcept(FE_DIVBYZERO);
    for (int round = 0; round < 3; ++round)
        EXPECT_EQ(faultOf([] { divideReal(1.0, 0.0); }).code, 0xC000008E) << round;
    fedisableexcept(FE_ALL_EXCEPT);
}

// Frames of many sizes, with and without clean-ups, so that the end of the stack is met at a push, at a store into a
// new frame and at a call.
std::size_t alive = 0;
volatile std::size_t deepest = SIZE_MAX; // to the compiler, the descent has an end

struct Alive {
    Alive() { ++alive; }
    ~Alive() { --alive; }
};

template <std::size_t Size>
UNCHECKED std::size_t descend(std::size_t depth) {
    if (depth == deepest)
        return 0;
    volatile char frame[Size];
    frame[0] = static_cast<char>(depth);
    const std::string text(20 + depth % 2, 'x');
    const Alive counted;
    return descend<Size>(depth + 1) + text.size() + static_cast<std::size_t>(frame[0]);
}

template <std::size_t Size>
UNCHECKED std::size_t descendBare(std::size_t depth) {
    if (depth == deepest)
        return 0;
    volatile char frame[Size];
    frame[Size - 1] = static_cast<char>(depth);
    return descendBare<Size>(depth + 1) + static_cast<std::size_t>(frame[Size - 1]);
}

void exhaustStackInManyWays() {
#if defined(__SANITIZE_ADDRESS__)
    // An allocation in whose midst the stack ended succeeds, and nobody is told its address.
    const __lsan::ScopedDisabler lostAllocations;
#endif
    const std::function<void()> ways[] = {
        [] { descend<1>(0); },     [] { descend<24>(0); },       [] { descend<72>(0); },   [] { descend<200>(0); },
        [] { descend<1000>(0); },  [] { descend<4000>(0); },     [] { descend<9000>(0); }, [] { descend<70000>(0); },
        [] { descendBare<8>(0); }, [] { descendBare<5000>(0); },
    };
    for (const auto& way : ways) {
        const Fault fault = faultOf(way);
        EXPECT_EQ(fault.code, 0xC00000FDu) << (&way - ways);
        EXPECT_FALSE(fault.access);
        EXPECT_EQ(fault.destroyed, 1u);
        EXPECT_EQ(alive, 0u) << "a frame was left without its clean-up";
    }
    EXPECT_EQ(faultOf([] { readAt(nullptr); }).code, 0xC0000005);
}

TEST_F(FaultsTest, ExhaustedStackIsThrownTimeAndAgain) {
    const rlimit limit{8 << 20, RLIM_INFINITY};
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_STACK, &before), 0);
    const rlimit lowered{limit.rlim_cur, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_STACK, &lowered), 0);
    exhaustStackInManyWays();
    exhaustStackInManyWays();
    std::thread([] {
        NorqException::installHandler();
        exhaustStackInManyWays();
    }).join();
    ::setrlimit(RLIMIT_STACK, &before);
}

UNCHECKED std::size_t catchWhereItEnds(std::size_t depth) {
    if (depth == deepest)
        return 0;
    volatile char frame[64];
    frame[0] = static_cast<char>(depth);
    try {
        return catchWhereItEnds(depth + 1) + static_cast<std::size_t>(frame[0]) * 0;
    } catch (const NorqRuntimeException&) {
        return depth;
    }
}

TEST_F(FaultsTest, ExhaustedStackMayBeCaughtByTheDeepestFrame) {
    std::thread([] {
        NorqException::installHandler();
        for (int round = 0; round < 4; ++round) {
            for (int i = 0; i < 5; ++i)
                EXPECT_GT(catchWhereItEnds(1), 1000u);
            if (round % 2 == 0)
                EXPECT_EQ(faultOf([] { descendBare<8>(0); }).code, 0xC00000FDu);
            else
                NorqException::installHandler();
        }
    }).join();
}

// As a program has it, open to the compiler: the store through a pointer is what may throw.
std::size_t descendInTheOpen(std::size_t depth, volatile std::size_t* reached) {
    *reached = depth;
    return depth == deepest ? 0 : descendInTheOpen(depth + 1, reached) + *reached;
}

TEST_F(FaultsTest, ExhaustedStackIsThrownFromWhatTheOptimizerHasSeenThrough) {
    std::thread([] {
        NorqException::installHandler();
        volatile std::size_t reached = 0;
        std::uint32_t code = 0;
        try {
            const Alive counted;
            descendInTheOpen(1, &reached);
        } catch (const NorqRuntimeException& e) {
            code = static_cast<std::uint32_t>(e.getErrNum());
        }
        EXPECT_EQ(code, 0xC00000FDu);
        EXPECT_GT(reached, 1000u);
        EXPECT_EQ(alive, 0u);
    }).join();
}

std::size_t mappings() {
    std::ifstream maps("/proc/self/maps");
    return static_cast<std::size_t>(std::count(std::istreambuf_iterator<char>(maps), {}, '\n'));
}

TEST_F(FaultsTest, ThreadGivesItsAlternateStackBack) {
    const auto serve = [] { NorqException::installHandler(); };
    std::thread(serve).join();
    const std::size_t before = mappings();
    for (int i = 0; i < 50; ++i)
        std::thread(serve).join();
    EXPECT_LT(mappings(), before + 20);
}

using FaultsDeathTest = FaultsTest;

TEST_F(FaultsDeathTest, FaultOfAThreadThatDidNotAskEndsTheProcess) {
    EXPECT_EXIT(std::thread([] {
                    try {
                        readAt(nullptr);
                    } catch (...) {
                        std::_Exit(0);
                    }
                }).join(),
                ::testing::KilledBySignal(SIGSEGV), "");
}

TEST_F(FaultsDeathTest, SentSignalIsNoFault) {
    EXPECT_EXIT(
        {
            try {
                std::raise(SIGSEGV);
            } catch (...) {
            }
            std::_Exit(0);
        },
        ::testing::KilledBySignal(SIGSEGV), "");
}

std::atomic<int> callsOfEarlierHandler{0};

void earlierHandler(int, siginfo_t* info, void* interrupted) {
    ++callsOfEarlierHandler;
    if (info->si_code > 0)
        static_cast<ucontext_t*>(interrupted)->uc_mcontext.gregs[REG_RIP] += 3; // the length of the load below
}

/// Runs as a process of its own, in which a handler stands there before the first installHandler.
int runGeneratedCodeBesideEarlierHandler() {
    struct sigaction action = {};
    action.sa_sigaction = earlierHandler;
    action.sa_flags = SA_SIGINFO;
    ::sigaction(SIGSEGV, &action, nullptr);
    NorqException::installHandler();

    const unsigned char code[] = {0x48, 0x31, 0xC0, 0x48, 0x8B, 0x00, 0xC3}; // xor rax,rax; mov rax,[rax]; ret
    void* const page = ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    std::memcpy(page, code, sizeof code);
    ::mprotect(page, 4096, PROT_READ | PROT_EXEC);
    try {
        call(reinterpret_cast<void (*)()>(page));
    } catch (...) {
        return 1;
    }
    std::raise(SIGSEGV); // sent, and so the earlier handler's too
    if (callsOfEarlierHandler != 2)
        return 2;
    return faultOf([] { readAt(nullptr); }).code == 0xC0000005 ? 0 : 3;
}

TEST(FaultsProcessDeathTest, GeneratedCodeIsLeftToTheEarlierHandler) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::_Exit(runGeneratedCodeBesideEarlierHandler()), ::testing::ExitedWithCode(0), "");
}

TEST_F(FaultsTest, ChainedRecordsBecomeNestedExceptions) {
    using norq_std_internal::platform::FaultRecord;
    FaultRecord first;
    first.code = 0xC0000005;
    FaultRecord second;
    second.code = 0xE0000001;
    second.flags = 1;
    second.chained = &first;
    try {
        norq_std_internal::throwFault(second);
    } catch (const NorqRuntimeException& e) {
        const std::unique_ptr<NorqException> nested(e.getNestedException());
        ASSERT_NE(dynamic_cast<NorqAccessException*>(nested.get()), nullptr);
        EXPECT_EQ(e.getErrNum(), static_cast<std::int32_t>(0xE0000001));
        EXPECT_EQ(e.getMessage(),
                  u"Win32 exception Noncontinuable exception. ExceptionAddress = 0. NumberParameters = 0.: " +
                      nested->getMessage());
    }
}

TEST_F(FaultsTest, EachCodeHasItsDescription) {
    const struct {
        std::uint32_t code;
        const char16_t* text;
    } descriptions[] = {
        {0x80000002, u"The thread tried to read or write data that is misaligned on hardware that does not provide "
                     u"alignment. For example, 16-bit values must be aligned on 2-byte boundaries; 32-bit values on "
                     u"4-byte boundaries, and so on."},
        {0x80000003, u"A breakpoint was "
                     u"encountered."},
        {0x80000004, u"A trace trap or other single-instruction mechanism signaled "
                     u"that one instruction has been executed."},
        {0xC0000005, u"The thread tried to read from or write to a virtual address "
                     u"for which it does not have the appropriate access."},
        {0xC0000006,
         u"The thread tried to access a page that was not present, "
         u"and the system was unable to load the page. For example, this exception might occur if a network connection "
         u"is lost while running a program over the network."},
        {0xC000001D, u"The thread tried to execute "
                     u"an invalid instruction."},
        {0xC0000025, u"The thread tried to continue execution "
                     u"after a noncontinuable exception occurred."},
        {0xC0000026, u"An exception handler returned an invalid disposition to the exception dispatcher. "
                     u"Programmers using a high-level language such as C should never encounter this exception."},
        {0xC000008C, u"The thread tried to access an array element "
                     u"that is out of bounds and the underlying hardware supports bounds checking."},
        {0xC000008D, u"One of the operands in a floating-point operation is denormal. "
                     u"A denormal value is one that is too small to represent as a standard floating-point value."},
        {0xC000008E, u"The thread tried to divide a floating-point value "
                     u"by a floating-point divisor of zero."},
        {0xC000008F, u"The result of a floating-point operation "
                     u"cannot be represented exactly as a decimal fraction."},
        {0xC0000090, u"This exception represents any floating-point exception "
                     u"not included in this list."},
        {0xC0000091, u"The exponent of a floating-point operation is greater "
                     u"than the magnitude allowed by the corresponding type."},
        {0xC0000092, u"The stack overflowed or underflowed "
                     u"as the result of a floating-point operation."},
        {0xC0000093, u"The exponent of a floating-point operation is less "
                     u"than the magnitude allowed by the corresponding type."},
        {0xC0000094, u"The thread tried to divide an integer value "
                     u"by an integer divisor of zero."},
        {0xC0000095, u"The result of an integer operation "
                     u"caused a carry out of the most significant bit of the result."},
        {0xC0000096, u"The thread tried to execute an instruction "
                     u"whose operation is not allowed in the current machine mode."},
        {0xC00000FD, u"The thread used up "
                     u"its stack."},
        {0xC00000FE, u"Win32 "
                     u"exception"},
    };
    norq_std_internal::platform::FaultRecord record;
    record.flags = 0x10;
    record.address = 0xABCDEF;
    record.parameterCount = 12;
    for (std::uint32_t i = 0; i < record.parameterCount; ++i)
        record.parameters[i] = 16 * i;
    for (const auto& description : descriptions) {
        record.code = description.code;
        const Fault fault = faultOf([&] { norq_std_internal::throwFault(record); });
        EXPECT_EQ(fault.code, description.code);
        EXPECT_EQ(fault.text, description.text +
                                  WString(u" Noncontinuable exception. ExceptionAddress = abcdef. NumberParameters = c."
                                          u" Param 0 value = 0. Param 1 value = 10. Param 2 value = 20."
                                          u" Param 3 value = 30. Param 4 value = 40. Param 5 value = 50."
                                          u" Param 6 value = 60. Param 7 value = 70. Param 8 value = 80."
                                          u" Param 9 value = 90. Param a value = a0. Param b value = b0."));
    }
}

TEST_F(FaultsTest, ViolatedParameterIsThrownWithItsTexts) {
    const auto messageOf = [](const char16_t* expression, const char16_t* function, const char16_t* file,
                              std::uint32_t line) {
        try {
            norq_std_internal::platform::invalidParameter(expression, function, file, line);
        } catch (const NorqIllegalArgumentException& e) {
            return e.getMessage();
        }
        return WString();
    };
    EXPECT_EQ(messageOf(nullptr, nullptr, nullptr, 0),
              u"Invalid argument. Expression <NULL> in function NULL file NULL line 0");
    EXPECT_EQ(messageOf(u"fd >= 0", u"read", u"io.cpp", 4294967295),
              u"Invalid argument. Expression <fd >= 0> in function read file io.cpp line 4294967295");
}

} // namespace

#endif
