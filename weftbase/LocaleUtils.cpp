#include "weftbase/LocaleUtils.h"

#include <cstdlib>

namespace
{
CString LocaleText(LCTYPE type, const char* fallback)
{
    char buffer[16] = {};
    const int n = ::GetLocaleInfoA(LOCALE_USER_DEFAULT, type, buffer, sizeof buffer);
    return n > 1 ? CString(buffer) : CString(fallback);
}
}  // namespace

unsigned int LocaleUtils::GetNumberFractionalDigits()
{
    const CString digits = LocaleText(LOCALE_IDIGITS, "2");
    const unsigned int value = static_cast<unsigned int>(std::atoi(digits));
    return value <= 9 ? value : 2;
}

CString LocaleUtils::GetDecimalSeparator()
{
    return LocaleText(LOCALE_SDECIMAL, ".");
}

CString LocaleUtils::GetThousandSeparator()
{
    return LocaleText(LOCALE_STHOUSAND, ",");
}
