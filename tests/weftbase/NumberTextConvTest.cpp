#include "weftcore.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{
// The expected text with "." and "," standing for the locale's separators.
CString Localised(const char* text)
{
    const CString dec = LocaleUtils::GetDecimalSeparator();
    const CString group = LocaleUtils::GetThousandSeparator();
    CString out;
    for (const char* p = text; *p; ++p)
        out += *p == '.' ? dec : *p == ',' ? group : CString(*p);
    return out;
}
}  // namespace

TEST(NumberTextConvTest, LocaleSettingsAreThoseOfTheUsersLocale)
{
    char digits[8] = {};
    ASSERT_GT(GetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_IDIGITS, digits, sizeof digits), 0);
    EXPECT_EQ(static_cast<unsigned>(atoi(digits)), LocaleUtils::GetNumberFractionalDigits());
    EXPECT_FALSE(LocaleUtils::GetDecimalSeparator().IsEmpty());
}

TEST(NumberTextConvTest, BytesGetTheLargestUnitWithThreeDigitsCutNotRounded)
{
    struct Case
    {
        unsigned long long bytes;
        const char* text;
    } cases[] = {
        {0, "0 bytes"},
        {1, "1 byte"},
        {1023, "1023 bytes"},
        {1024, "1.00 KB"},
        {1535, "1.49 KB"},
        {1536, "1.50 KB"},
        {10 * 1024 - 1, "9.99 KB"},
        {10 * 1024, "10.0 KB"},
        {100 * 1024, "100 KB"},
        {1024 * 1024 - 1, "1023 KB"},
        {1024 * 1024, "1.00 MB"},
        {15ull * 1024 * 1024 + 943718, "15.8 MB"},
        {15ull * 1024 * 1024 + 943719, "15.9 MB"},
        {150ull << 30, "150 GB"},
        {1ull << 40, "1.00 TB"},
        {(1ull << 50) * 3 / 2, "1.50 PB"},
        {1ull << 60, "1.00 EB"},
        {~0ull, "15.9 EB"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Localised(c.text), NumberTextConv::ConvertBytesToString(c.bytes)) << c.bytes;
}

TEST(NumberTextConvTest, DoubleTextsFollowTheirOptions)
{
    EXPECT_EQ(Localised("33.33"), NumberTextConv::DoubleToString(33.33, 2, false, 0, "", false));
    EXPECT_EQ(Localised("33"), NumberTextConv::DoubleToString(33.33, 0, false, 0, "", false));
    EXPECT_EQ(Localised("2.50"), NumberTextConv::DoubleToString(2.499999, 2, false, 0, nullptr, false));
    EXPECT_EQ(Localised("1234567.125"), NumberTextConv::DoubleToString(1234567.125, 3, false, 0, "", false));
    EXPECT_EQ(Localised("1,234,567.13"), NumberTextConv::DoubleToString(1234567.125001, 2, true, 0, "", false));
    EXPECT_EQ(Localised("-1,000.0"), NumberTextConv::DoubleToString(-1000.0, 1, true, 0, "", false));
    EXPECT_EQ(Localised("999"), NumberTextConv::DoubleToString(999, 0, true, 0, "", false));
    EXPECT_EQ(Localised("12.5 MB"), NumberTextConv::DoubleToString(12.5, 3, false, 0, "MB", true));
    EXPECT_EQ(Localised("12"), NumberTextConv::DoubleToString(12.0, 3, false, 0, "", true));
    EXPECT_EQ(Localised("   7.0"), NumberTextConv::DoubleToString(7, 1, false, 6, "", false));
    EXPECT_EQ(Localised("0.00"), NumberTextConv::DoubleToString(-0.001, 2, false, 0, "", false));
    EXPECT_EQ(CString("NaN"), NumberTextConv::DoubleToString(std::nan(""), 2, false, 0, "", false));
    EXPECT_EQ(CString("-Infinity"),
              NumberTextConv::DoubleToString(-std::numeric_limits<double>::infinity(), 2, false, 0, "", false));
    EXPECT_EQ(Localised("1.50000000000000000000"), NumberTextConv::DoubleToString(1.5, 99, false, 0, "", false));
}

TEST(NumberTextConvTest, WholeNumbersGroupInThrees)
{
    EXPECT_EQ(Localised("0"), NumberTextConv::NumberToString(0, true));
    EXPECT_EQ(Localised("123"), NumberTextConv::NumberToString(123, true));
    EXPECT_EQ(Localised("1,234"), NumberTextConv::NumberToString(1234, true));
    EXPECT_EQ(Localised("18,446,744,073,709,551,615"), NumberTextConv::NumberToString(~0ull, true));
    EXPECT_EQ(Localised("1234"), NumberTextConv::NumberToString(1234, false));
}
