#include "weftbase/NumberTextConv.h"

#include "weftbase/LocaleUtils.h"

#include <charconv>
#include <cmath>
#include <string>
#include <vector>

namespace
{
// Decimal digits in groups as the user's locale sets them, by the system's number formatting.
CString Group(const CString& digits)
{
    // The locale's "3;0" repeats groups of three, "3;2;0" has three and then twos, and "3" one
    // group of three alone; the format wants 3, 32 and 30.
    char grouping[16] = {};
    unsigned int groups = 0;
    if (::GetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_SGROUPING, grouping, sizeof grouping) > 1)
    {
        for (const char* p = grouping; *p; ++p)
            if (*p >= '0' && *p <= '9')
                groups = groups * 10 + static_cast<unsigned int>(*p - '0');
        const CString text(grouping);
        groups = text.Right(2) == ";0" ? groups / 10 : groups * 10;
    }
    else
        groups = 3;
    std::string decimal(LocaleUtils::GetDecimalSeparator()), thousand(LocaleUtils::GetThousandSeparator());
    NUMBERFMTA format = {0, 1, groups, decimal.data(), thousand.data(), 1};
    // Room for the 309 digits of the largest double, each with a separator of up to 3 characters.
    std::vector<char> text(1280);
    const int n =
        ::GetNumberFormatA(LOCALE_USER_DEFAULT, 0, digits, &format, text.data(), static_cast<int>(text.size()));
    return n ? CString(text.data()) : digits;  // 0: failed
}
}  // namespace

CString NumberTextConv::ConvertBytesToString(unsigned long long bytes)
{
    CString text;
    if (bytes < 1024)
    {
        text.Format("%llu %s", bytes, bytes == 1 ? "byte" : "bytes");
        return text;
    }
    static const char* const units[] = {"KB", "MB", "GB", "TB", "PB", "EB"};
    int k = 0;
    unsigned long long unit = 1024;
    while (bytes / unit >= 1024)  // ends at exabytes: 2^64 bytes are 16 of them
    {
        unit *= 1024;
        ++k;
    }
    const unsigned long long whole = bytes / unit;
    const int decimals = whole < 10 ? 2 : whole < 100 ? 1 : 0;
    text.Format("%llu", whole);
    if (decimals > 0)
    {
        const unsigned long long scale = decimals == 2 ? 100 : 10;
        // Units are powers of two: dropping the same low bits of both keeps the product in 64 bits,
        // which only a fraction of an exabyte times 100 would pass.
        const int shift = k == 5 ? 10 : 0;
        const unsigned long long fraction = ((bytes % unit) >> shift) * scale / (unit >> shift);
        CString digits;
        digits.Format("%0*llu", decimals, fraction);
        text += LocaleUtils::GetDecimalSeparator() + digits;
    }
    text += ' ';
    text += units[k];
    return text;
}

CString NumberTextConv::DoubleToString(double value, unsigned int digits, bool groupDigits, int width,
                                       const char* unit, bool trimZeros)
{
    CString text;
    if (std::isnan(value))
        text = "NaN";
    else if (std::isinf(value))
        text = value < 0 ? "-Infinity" : "Infinity";
    else
    {
        if (digits > 20)
            digits = 20;
        // Written without the C runtime's locale, so the decimal point is always '.'.
        char buffer[400];
        const std::to_chars_result end =
            std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, static_cast<int>(digits));
        CString raw(buffer, end.ec == std::errc() ? static_cast<int>(end.ptr - buffer) : 0);
        bool negative = raw[0] == '-';
        if (negative)
            raw = raw.Mid(1);
        const int point = raw.Find('.');
        const CString whole = point > 0 ? raw.Left(point) : raw;  // a digit always comes first
        CString fraction = point > 0 ? raw.Mid(point + 1) : CString();
        if (trimZeros)
            fraction.TrimRight('0');
        // "-0.00" says more than the value does.
        if (negative && CString(whole).Trim("0").IsEmpty() && CString(fraction).Trim("0").IsEmpty())
            negative = false;
        text = negative ? "-" : "";
        text += groupDigits ? Group(whole) : whole;
        if (!fraction.IsEmpty())
            text += LocaleUtils::GetDecimalSeparator() + fraction;
    }
    if (unit && *unit)
    {
        text += ' ';
        text += unit;
    }
    if (width > text.GetLength())
        text = CString(' ', width - text.GetLength()) + text;
    return text;
}

CString NumberTextConv::NumberToString(unsigned long long value, bool groupDigits)
{
    CString digits;
    digits.Format("%llu", value);
    return groupDigits ? Group(digits) : digits;
}
