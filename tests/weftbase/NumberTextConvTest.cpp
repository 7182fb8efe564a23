#include "weftcore.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

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

TEST(NumberTextConvTest, TextsFollowTheirOptionsAndTheUsersLocaleAlone)
{
    char fractional[8] = {};
    ASSERT_GT(GetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_IDIGITS, fractional, sizeof fractional), 0);
    EXPECT_EQ(static_cast<unsigned>(atoi(fractional)), LocaleUtils::GetNumberFractionalDigits());
    const std::pair<unsigned long long, const char*> bytes[] = {
        {0, "0 bytes"}, {1, "1 byte"}, {1023, "1023 bytes"}, {1535, "1.49 KB"}, {10 * 1024 - 1, "9.99 KB"},
        {10 * 1024, "10.0 KB"}, {1024 * 1024 - 1, "1023 KB"}, {15ull * 1024 * 1024 + 943718, "15.8 MB"},
        {150ull << 30, "150 GB"}, {1ull << 40, "1.00 TB"}, {(1ull << 50) * 3 / 2, "1.50 PB"}, {~0ull, "15.9 EB"},
    };
    for (const auto& [count, text] : bytes)
        EXPECT_EQ(Localised(text), NumberTextConv::ConvertBytesToString(count)) << count;
    // Value, digits, grouped, width, unit, zeros trimmed, text.
    const std::tuple<double, int, bool, int, const char*, bool, const char*> cases[] = {
        {33.33, 0, false, 0, "", false, "33"}, {2.499999, 2, false, 0, nullptr, false, "2.50"},
        {1234567.125001, 2, true, 0, "", false, "1,234,567.13"}, {-1000.0, 1, true, 0, "", false, "-1,000.0"},
        {999, 0, true, 0, "", false, "999"}, {12.5, 3, false, 0, "MB", true, "12.5 MB"},
        {12.0, 3, false, 0, "", true, "12"}, {7, 1, false, 6, "", false, "   7.0"},
        {-0.001, 2, false, 0, "", false, "0.00"}, {1.5, 99, false, 0, "", false, "1.50000000000000000000"},
    };
    for (const auto& [value, digits, group, width, unit, trim, text] : cases)
        EXPECT_EQ(Localised(text), NumberTextConv::DoubleToString(value, digits, group, width, unit, trim)) << text;
    EXPECT_EQ(CString("NaN"), NumberTextConv::DoubleToString(std::nan(""), 2, false, 0, "", false));
    EXPECT_EQ(CString("-Infinity"),
              NumberTextConv::DoubleToString(-std::numeric_limits<double>::infinity(), 2, false, 0, "", false));
    EXPECT_EQ(Localised("18,446,744,073,709,551,615"), NumberTextConv::NumberToString(~0ull, true));
    EXPECT_EQ(Localised("1234"), NumberTextConv::NumberToString(1234, false));

    // The C runtime's locale writes a decimal comma: the texts do not change.
    ASSERT_NE(nullptr, setlocale(LC_NUMERIC, "German"));
    EXPECT_EQ(Localised("1,234.50"), NumberTextConv::DoubleToString(1234.5, 2, true, 0, "", false));
    setlocale(LC_NUMERIC, "C");
    // Grouping and separators come from the user's settings, which every program shares: they
    // are put back at once.
    std::vector<std::pair<LCTYPE, std::string>> saved = {{LOCALE_SGROUPING, "3;2;0"}, {LOCALE_SDECIMAL, ","},
                                                         {LOCALE_STHOUSAND, "."}};
    for (auto& [type, text] : saved)
    {
        char old[16] = {};
        GetLocaleInfoA(LOCALE_USER_DEFAULT, type, old, sizeof old);
        EXPECT_TRUE(SetLocaleInfoA(LOCALE_USER_DEFAULT, type, text.c_str()));
        text = old;
    }
    const CString indian[] = {NumberTextConv::DoubleToString(-1234567.125001, 2, true, 0, "", false),
                              NumberTextConv::NumberToString(10000000, true),
                              NumberTextConv::ConvertBytesToString(1536)};
    for (const auto& [type, text] : saved)
        SetLocaleInfoA(LOCALE_USER_DEFAULT, type, text.c_str());
    EXPECT_EQ(CString("-12.34.567,13"), indian[0]);
    EXPECT_EQ(CString("1.00.00.000"), indian[1]);
    EXPECT_EQ(CString("1,50 KB"), indian[2]);
}
