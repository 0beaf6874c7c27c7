#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <concepts>
#include <cstdint>
#include <memory>
#include <type_traits>

namespace norq_std {

/// Checks of public arguments, and the operating system's error text.
///
/// A check is named for what it rejects: `isNullEx` throws if the pointer is null. It takes the calling function's
/// name, the value's display name and an optional error number, and throws `NorqIllegalArgumentException` with that
/// number; otherwise it returns, at the cost of one comparison. No state; any thread may call anything here.
class NORQSTD_EXPORT ErrorUtils {
public:
    static void isNullEx(const void* pointer, const WChar* function, const WString& name, std::int32_t errNum = 0) {
        if (pointer == nullptr)
            rejectNull(function, name, errNum);
    }
    template <class T>
    static void isNullEx(const std::shared_ptr<T>& pointer, const WChar* function, const WString& name,
                         std::int32_t errNum = 0) {
        isNullEx(static_cast<const void*>(pointer.get()), function, name, errNum);
    }
    static void isNotNullEx(const void* pointer, const WChar* function, const WString& name, std::int32_t errNum = 0) {
        if (pointer != nullptr)
            rejectNotNull(function, name, errNum);
    }
    static void isEmptyEx(const WString& text, const WChar* function, const WString& name, std::int32_t errNum = 0) {
        if (text.empty())
            rejectEmpty(function, name, errNum);
    }

    // The range checks compare as signed numbers of the value's width. Bounds are inside the range.

    template <std::integral T>
    static void isBelowMinEx(T value, std::type_identity_t<T> minimum, const WChar* function, const WString& name,
                             std::int32_t errNum = 0) {
        if (less(value, minimum))
            rejectBelow(decimal(value), decimal(minimum), function, name, errNum);
    }
    template <std::integral T>
    static void isAboveMaxEx(T value, std::type_identity_t<T> maximum, const WChar* function, const WString& name,
                             std::int32_t errNum = 0) {
        if (less(maximum, value))
            rejectAbove(decimal(value), decimal(maximum), function, name, errNum);
    }
    /// Rejects a minimum above the maximum too.
    template <std::integral T>
    static void isOutsideRangeEx(T value, std::type_identity_t<T> minimum, std::type_identity_t<T> maximum,
                                 const WChar* function, const WString& name, std::int32_t errNum = 0) {
        if (less(value, minimum) || less(maximum, value) || less(maximum, minimum))
            rejectOutside({decimal(value), decimal(minimum), decimal(maximum)}, function, name, errNum);
    }
    template <std::integral T>
    static void isNotEqualEx(T value, std::type_identity_t<T> expected, const WChar* function, const WString& name,
                             std::int32_t errNum = 0) {
        if (value != expected)
            rejectNotEqual(decimal(expected), function, name, errNum);
    }
    template <std::integral T>
    static void isEqualEx(T value, std::type_identity_t<T> other, const WChar* function, const WString& name,
                          std::int32_t errNum = 0) {
        if (value == other)
            rejectEqual(decimal(other), function, name, errNum);
    }

    /// The same conditions as answers: true if the check rejects. They never throw, and trace a rejection as the checks
    /// do.
    static bool isNull(const void* pointer, const WChar* function, const WString& name, std::int32_t errNum = 0);
    static bool isNotNull(const void* pointer, const WChar* function, const WString& name, std::int32_t errNum = 0);

    /// The calling thread's last operating-system error, as a number of the family; 0 before the first.
    static std::int32_t getLastError();
    /// The number in decimal, a colon, and the system's text; no text for a number without one. Does not throw for its
    /// own work: a failure in between gives a fixed text.
    static WString getWindowsErrorDescription(std::int32_t code);
    static WString getErrorDescription(std::int32_t code);
    static WString getLastErrorDescription();

private:
    ErrorUtils() = default;

    struct RangeTexts {
        WString value;
        WString minimum;
        WString maximum;
    };

    template <std::integral T>
    static constexpr bool less(T a, T b) {
        if constexpr (std::same_as<T, bool>)
            return a < b;
        else
            return static_cast<std::make_signed_t<T>>(a) < static_cast<std::make_signed_t<T>>(b);
    }
    template <std::integral T>
    static WString decimal(T value) {
        if constexpr (std::is_signed_v<T>)
            return signedText(value);
        else
            return unsignedText(value);
    }
    static WString signedText(std::int64_t value);
    static WString unsignedText(std::uint64_t value);

    static void logDebug(const WChar* function, const WString& message);

    [[noreturn]] static void rejectNull(const WChar* function, const WString& name, std::int32_t errNum);
    [[noreturn]] static void rejectNotNull(const WChar* function, const WString& name, std::int32_t errNum);
    [[noreturn]] static void rejectEmpty(const WChar* function, const WString& name, std::int32_t errNum);
    [[noreturn]] static void rejectBelow(const WString& value, const WString& minimum, const WChar* function,
                                         const WString& name, std::int32_t errNum);
    [[noreturn]] static void rejectAbove(const WString& value, const WString& maximum, const WChar* function,
                                         const WString& name, std::int32_t errNum);
    [[noreturn]] static void rejectOutside(const RangeTexts& range, const WChar* function, const WString& name,
                                           std::int32_t errNum);
    [[noreturn]] static void rejectNotEqual(const WString& expected, const WChar* function, const WString& name,
                                            std::int32_t errNum);
    [[noreturn]] static void rejectEqual(const WString& other, const WChar* function, const WString& name,
                                         std::int32_t errNum);
};

} // namespace norq_std
