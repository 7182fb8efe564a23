#include "weftbase/NumberTextConv.h"

#include "weftbase/LocaleUtils.h"

#include <cmath>
#include <cstring>

namespace
{
CString Group(const CString& digits)
{
    const CString separator = LocaleUtils::GetThousandSeparator();
    CString text;
    const int n = digits.GetLength();
    for (int i = 0; i < n; ++i)
    {
        if (i > 0 && (n - i) % 3 == 0)
            text += separator;
        text += digits[i];
    }
    return text;
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
    while (k < 5 && bytes / unit >= 1024)
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
        // Units are powers of two: dropping the same low bits of both keeps the product in 64 bits.
        const int shift = k >= 4 ? 10 * (k + 1) - 50 : 0;
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
        CString raw;
        raw.Format("%.*f", static_cast<int>(digits), value);
        bool negative = raw[0] == '-';
        if (negative)
            raw = raw.Mid(1);
        const int point = raw.Find('.');
        CString whole = point < 0 ? raw : raw.Left(point);
        CString fraction = point < 0 ? CString() : raw.Mid(point + 1);
        if (trimZeros)
            fraction.TrimRight('0');
        // "-0.00" says more than the value does.
        if (negative && whole.Trim("0").IsEmpty() && CString(fraction).Trim("0").IsEmpty())
            negative = false;
        whole = point < 0 ? raw : raw.Left(point);
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
