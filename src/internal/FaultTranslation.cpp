#include "internal/FaultTranslation.h"

#include "base/InternalLog.h"
#include "base/LogCallSite.h"
#include "base/StringUtils.h"
#include "exception/NorqException.h"
#include "platform/Error.h"
#include "platform/Faults.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace norq_std_internal {

using norq_std::NorqAccessException;
using norq_std::NorqIllegalArgumentException;
using norq_std::NorqRuntimeException;
using norq_std::StringUtils;
using norq_std::WChar;
using norq_std::WString;
using platform::FaultRecord;

namespace {

struct Description {
    std::uint32_t code;
    const WChar* text;
};

constexpr Description Descriptions[] = {
    {platform::fault::Misaligned,
     u"The thread tried to read or write data that is misaligned on hardware that does not provide alignment. For "
     u"example, "
     u"16-bit values must be aligned on 2-byte boundaries; 32-bit values on 4-byte boundaries, and so on."},
    {platform::fault::Breakpoint, u"A breakpoint was encountered."},
    {platform::fault::SingleStep,
     u"A trace trap or other single-instruction mechanism signaled that one instruction has been executed."},
    {platform::fault::AccessViolation,
     u"The thread tried to read from or write to a virtual address for which it does not have the appropriate access."},
    {platform::fault::PageError,
     u"The thread tried to access a page that was not present, and the system was unable to load the page. For "
     u"example, "
     u"this exception might occur if a network connection is lost while running a program over the network."},
    {platform::fault::IllegalInstruction, u"The thread tried to execute an invalid instruction."},
    {platform::fault::NotContinuable,
     u"The thread tried to continue execution after a noncontinuable exception occurred."},
    {platform::fault::InvalidDisposition, u"An exception handler returned an invalid disposition to the exception "
                                          u"dispatcher. Programmers using a high-level "
                                          u"language such as C should never encounter this exception."},
    {platform::fault::BoundsExceeded,
     u"The thread tried to access an array element that is out of bounds and the underlying hardware supports bounds "
     u"checking."},
    {platform::fault::FloatDenormal,
     u"One of the operands in a floating-point operation is denormal. A denormal value is one that is too small to "
     u"represent as a standard floating-point value."},
    {platform::fault::FloatDivideByZero,
     u"The thread tried to divide a floating-point value by a floating-point divisor of zero."},
    {platform::fault::FloatInexact,
     u"The result of a floating-point operation cannot be represented exactly as a decimal fraction."},
    {platform::fault::FloatInvalid,
     u"This exception represents any floating-point exception not included in this list."},
    {platform::fault::FloatOverflow,
     u"The exponent of a floating-point operation is greater than the magnitude allowed by the corresponding type."},
    {platform::fault::FloatStackCheck,
     u"The stack overflowed or underflowed as the result of a floating-point operation."},
    {platform::fault::FloatUnderflow,
     u"The exponent of a floating-point operation is less than the magnitude allowed by the corresponding type."},
    {platform::fault::IntegerDivideByZero,
     u"The thread tried to divide an integer value by an integer divisor of zero."},
    {platform::fault::IntegerOverflow,
     u"The result of an integer operation caused a carry out of the most significant bit of the result."},
    {platform::fault::PrivilegedInstruction,
     u"The thread tried to execute an instruction whose operation is not allowed in the current machine mode."},
    {platform::fault::StackOverflow, u"The thread used up its stack."},
};

const WChar* describe(std::uint32_t code) {
    const auto* const row = std::find_if(std::begin(Descriptions), std::end(Descriptions),
                                         [&](const Description& d) { return d.code == code; });
    return row == std::end(Descriptions) ? u"Win32 exception" : row->text;
}

WString hexadecimal(std::uint64_t number) {
    char digits[16];
    const char* const end = std::to_chars(std::begin(digits), std::end(digits), number, 16).ptr;
    return WString(static_cast<const char*>(digits), end);
}

// Every number stands in hexadecimal, the count and the indices too.
WString faultText(const FaultRecord& record) {
    WString text = describe(record.code);
    text.append(record.flags != 0 ? u" Noncontinuable exception." : u" Continuable exception.");
    text.append(u" ExceptionAddress = ").append(hexadecimal(record.address));
    text.append(u". NumberParameters = ").append(hexadecimal(record.parameterCount)).append(u".");
    for (std::uint32_t i = 0; i < record.parameterCount; ++i)
        text.append(u" Param ")
            .append(hexadecimal(i))
            .append(u" value = ")
            .append(hexadecimal(record.parameters[i]))
            .append(u".");
    return text;
}

bool isAccessFault(const FaultRecord& record) { return record.code == platform::fault::AccessViolation; }

template <class Exception>
Exception toException(const FaultRecord& record) {
    const WString text = faultText(record);
    const auto errNum = static_cast<std::int32_t>(record.code);
    if (record.chained == nullptr)
        return Exception(text, errNum);
    if (isAccessFault(*record.chained))
        return Exception(text, errNum, toException<NorqAccessException>(*record.chained));
    return Exception(text, errNum, toException<NorqRuntimeException>(*record.chained));
}

} // namespace

namespace {

/// Lives as long as somebody deals with it. Copies are plain.
class StackExhausted final : public NorqRuntimeException {
public:
    using NorqRuntimeException::NorqRuntimeException;
    StackExhausted(const StackExhausted&) = delete;
    StackExhausted& operator=(const StackExhausted&) = delete;
    ~StackExhausted() override { platform::restoreStackReserve(); }
};

} // namespace

void throwFault(const FaultRecord& record) {
    if (record.code == platform::fault::StackOverflow && record.chained == nullptr)
        throw StackExhausted(faultText(record), static_cast<std::int32_t>(record.code));
    if (isAccessFault(record))
        throw toException<NorqAccessException>(record);
    throw toException<NorqRuntimeException>(record);
}

void throwInvalidParameter(const WChar* expression, const WChar* function, const WChar* file, std::uint32_t line) {
    char digits[10];
    const char* const end = std::to_chars(std::begin(digits), std::end(digits), line).ptr;
    throw NorqIllegalArgumentException(u"Invalid argument. Expression <" + StringUtils::nullCheckedString(expression) +
                                       u"> in function " + StringUtils::nullCheckedString(function) + u" file " +
                                       StringUtils::nullCheckedString(file) + u" line " +
                                       WString(static_cast<const char*>(digits), end));
}

void installFaultTranslation() {
    platform::setParameterHandler(throwInvalidParameter);
    if (!platform::serveFaultsOfThisThread(throwFault) && norq_std::__internal_debug_on())
        norq_std::__internal_debug(u"norq_std::NorqException::installHandler", u"FaultTranslation.cpp", __LINE__,
                                   u"Processor faults of this thread are not translated, error %d.",
                                   platform::lastError());
}

} // namespace norq_std_internal
