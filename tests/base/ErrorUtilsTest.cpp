#include "base/ErrorUtils.h"
#include "exception/NorqException.h"
#include "platform/Error.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <limits>
#include <string>

namespace {

using norq_std::ErrorUtils;
using norq_std::NorqIllegalArgumentException;
using norq_std::WString;

constexpr const char16_t* Function = u"caller";

/// The message of the rejection; "accepted" without one.
WString outcome(const std::function<void()>& check) {
    try {
        check();
        return u"accepted";
    } catch (const NorqIllegalArgumentException& e) {
        EXPECT_EQ(e.getErrNum(), 22);
        return e.getMessage();
    }
}

TEST(ErrorUtilsTest, ChecksRejectOutsideTheirBoundsAndSayWhy) {
    const norqstd_test::DebugCapture capture;
    const int object = 0;
    const std::shared_ptr<int> empty;
    struct Case {
        std::function<void()> check;
        const char16_t* expected;
    };
    const Case cases[] = {
        {[&] { ErrorUtils::isNullEx(&object, Function, u"p", 22); }, u"accepted"},
        {[&] { ErrorUtils::isNullEx(nullptr, Function, u"p", 22); }, u"p value is NULL."},
        {[&] { ErrorUtils::isNullEx(empty, Function, u"s", 22); }, u"s value is NULL."},
        {[&] { ErrorUtils::isNotNullEx(nullptr, Function, u"p", 22); }, u"accepted"},
        {[&] { ErrorUtils::isNotNullEx(&object, Function, u"p", 22); }, u"p value is not NULL."},
        {[&] { ErrorUtils::isEmptyEx(u"", Function, u"text", 22); }, u"text value is empty."},
        {[&] { ErrorUtils::isEmptyEx(u" ", Function, u"text", 22); }, u"accepted"},
        {[&] { ErrorUtils::isBelowMinEx(3, 3, Function, u"n", 22); }, u"accepted"},
        {[&] { ErrorUtils::isBelowMinEx(2, 3, Function, u"n", 22); }, u"n value 2 is below minimum of 3."},
        {[&] { ErrorUtils::isBelowMinEx(-5, 0, Function, u"n", 22); }, u"n value -5 is below minimum of 0."},
        {[&] { ErrorUtils::isBelowMinEx(std::uint32_t{0xFFFFFFFF}, 0, Function, u"n", 22); },
         u"n value 4294967295 is below minimum of 0."},
        {[&] { ErrorUtils::isAboveMaxEx(std::numeric_limits<std::int64_t>::min(), 0, Function, u"n", 22); },
         u"accepted"},
        {[&] { ErrorUtils::isAboveMaxEx(std::size_t{4}, 4, Function, u"n", 22); }, u"accepted"},
        {[&] { ErrorUtils::isAboveMaxEx(std::size_t{5}, 4, Function, u"n", 22); }, u"n value 5 is above maximum of 4."},
        {[&] { ErrorUtils::isOutsideRangeEx(1, 1, 2, Function, u"n", 22); }, u"accepted"},
        {[&] { ErrorUtils::isOutsideRangeEx(2, 2, 1, Function, u"n", 22); },
         u"n value 2 is outside minimum of 2 and maximum of 1."},
        {[&] { ErrorUtils::isOutsideRangeEx(std::int16_t{9}, 1, 2, Function, u"n", 22); },
         u"n value 9 is outside minimum of 1 and maximum of 2."},
        {[&] { ErrorUtils::isNotEqualEx(1, 1, Function, u"n", 22); }, u"accepted"},
        {[&] { ErrorUtils::isNotEqualEx(1, 2, Function, u"n", 22); }, u"n value is not equal to 2."},
        {[&] { ErrorUtils::isEqualEx(1, 1, Function, u"n", 22); }, u"n value is equal to 1."},
        {[&] { ErrorUtils::isEqualEx(1, 2, Function, u"n", 22); }, u"accepted"},
    };
    std::size_t rejections = 0;
    for (const Case& c : cases) {
        EXPECT_EQ(outcome(c.check), c.expected) << (&c - cases);
        rejections += c.expected != WString(u"accepted");
    }
    EXPECT_EQ(capture.count(u"ErrorUtils.cpp["), rejections) << "each rejection leaves one debug line";
    EXPECT_TRUE(ErrorUtils::isNull(nullptr, Function, u"p"));
    EXPECT_FALSE(ErrorUtils::isNull(&object, Function, u"p"));
    EXPECT_TRUE(ErrorUtils::isNotNull(&object, Function, u"p"));
}

TEST(ErrorUtilsTest, DescriptionIsTheNumberAndTheSystemsText) {
    namespace platform = norq_std_internal::platform;
    const auto described = [](std::int32_t number, int native) {
        const std::string text = std::to_string(number) + ":" + ::strerrordesc_np(native);
        return WString(text.begin(), text.end());
    };
    const std::pair<std::int32_t, int> rows[] = {{2, ENOENT},      {3, ENOTDIR},  {5, EACCES},    {6, EBADF},
                                                 {32, EAGAIN},     {87, EINVAL},  {126, ELIBACC}, {183, EEXIST},
                                                 {234, EOVERFLOW}, {259, ENODATA}};
    for (const auto& [number, native] : rows) {
        EXPECT_EQ(platform::errorFromNative(native), number);
        EXPECT_EQ(ErrorUtils::getErrorDescription(number), described(number, native));
    }
    EXPECT_EQ(ErrorUtils::getWindowsErrorDescription(77777), u"77777:");
    EXPECT_EQ(ErrorUtils::getWindowsErrorDescription(-1), u"-1:");

    errno = ENOENT;
    platform::setLastErrorFromNative();
    EXPECT_EQ(ErrorUtils::getLastError(), 2);
    EXPECT_EQ(ErrorUtils::getLastErrorDescription(), described(2, ENOENT));
    platform::setLastError(0);
}

} // namespace
