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

TEST(NumberTextConvTest, BytesGetTheLargestUnitWithThreeDigitsCutNotRoundedInTheUsersLocale)
{
    char digits[8] = {};
    ASSERT_GT(GetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_IDIGITS, digits, sizeof digits), 0);
    EXPECT_EQ(static_cast<unsigned>(atoi(digits)), LocaleUtils::GetNumberFractionalDigits());
    EXPECT_FALSE(LocaleUtils::GetDecimalSeparator().IsEmpty());
    const std::pair<unsigned long long, const char*> cases[] = {
        {0, "0 bytes"}, {1, "1 byte"}, {1023, "1023 bytes"}, {1024, "1.00 KB"}, {1535, "1.49 KB"}, {1536, "1.50 KB"},
        {10 * 1024 - 1, "9.99 KB"}, {10 * 1024, "10.0 KB"}, {100 * 1024, "100 KB"}, {1024 * 1024 - 1, "1023 KB"},
        {1024 * 1024, "1.00 MB"}, {15ull * 1024 * 1024 + 943718, "15.8 MB"}, {15ull * 1024 * 1024 + 943719, "15.9 MB"},
        {150ull << 30, "150 GB"}, {1ull << 40, "1.00 TB"}, {(1ull << 50) * 3 / 2, "1.50 PB"}, {1ull << 60, "1.00 EB"},
        {~0ull, "15.9 EB"},
    };
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(Localised(text), NumberTextConv::ConvertBytesToString(bytes)) << bytes;
}

TEST(NumberTextConvTest, DoubleAndWholeNumberTextsFollowTheirOptions)
{
    struct Case
    {
        double value;
        int digits;
        bool group;
        int width;
        const char* unit;
        bool trim;
        const char* text;
    } cases[] = {
        {33.33, 2, false, 0, "", false, "33.33"}, {33.33, 0, false, 0, "", false, "33"},
        {2.499999, 2, false, 0, nullptr, false, "2.50"}, {1234567.125, 3, false, 0, "", false, "1234567.125"},
        {1234567.125001, 2, true, 0, "", false, "1,234,567.13"}, {-1000.0, 1, true, 0, "", false, "-1,000.0"},
        {999, 0, true, 0, "", false, "999"}, {12.5, 3, false, 0, "MB", true, "12.5 MB"},
        {12.0, 3, false, 0, "", true, "12"}, {7, 1, false, 6, "", false, "   7.0"},
        {-0.001, 2, false, 0, "", false, "0.00"}, {1.5, 99, false, 0, "", false, "1.50000000000000000000"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Localised(c.text),
                  NumberTextConv::DoubleToString(c.value, c.digits, c.group, c.width, c.unit, c.trim))
            << c.text;
    EXPECT_EQ(CString("NaN"), NumberTextConv::DoubleToString(std::nan(""), 2, false, 0, "", false));
    EXPECT_EQ(CString("-Infinity"),
              NumberTextConv::DoubleToString(-std::numeric_limits<double>::infinity(), 2, false, 0, "", false));
    EXPECT_EQ(Localised("0"), NumberTextConv::NumberToString(0, true));
    EXPECT_EQ(Localised("18,446,744,073,709,551,615"), NumberTextConv::NumberToString(~0ull, true));
    EXPECT_EQ(Localised("1234"), NumberTextConv::NumberToString(1234, false));
}
