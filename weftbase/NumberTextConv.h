// Numbers as display texts, with the decimal and group separators and the digit grouping of the
// user's locale (LocaleUtils, GetNumberFormatA); the C runtime's locale plays no part.
#pragma once

#include "weftbase/WeftBaseApi.h"

#include <afx.h>

class WEFTBASE_API NumberTextConv
{
public:
    // A byte count for display. Below 1024: "0 bytes", "1 byte", "1023 bytes". From 1024 on, in
    // the largest binary unit that leaves a whole part of at least 1 (KB = 1024 bytes, then MB,
    // GB, TB, PB, EB), with three significant digits, cut rather than rounded so that a figure
    // never shows more than there is: "1.50 KB", "15.9 MB", "150 GB", "1023 KB".
    static CString ConvertBytesToString(unsigned long long bytes);

    // A number with a fixed count of decimals, rounded to nearest.
    //   digits        decimals, 0 to 20 (more count as 20); 0 gives no decimal separator
    //   groupDigits   separate the whole part in groups as the locale has them ("1,234,567.00",
    //                 "12,34,567.00")
    //   width         the text is padded on the left with blanks to at least this length
    //   unit          if not empty, appended after one blank ("12.50 MB")
    //   trimZeros     drop trailing zeros of the decimals, and the separator if none remain
    // Not-a-number gives "NaN", infinities "Infinity" and "-Infinity"; a negative value that
    // rounds to zero shows no minus sign.
    static CString DoubleToString(double value, unsigned int digits, bool groupDigits, int width, const char* unit,
                                  bool trimZeros);

    // A whole number in decimal, optionally in groups as the locale has them.
    static CString NumberToString(unsigned long long value, bool groupDigits);
};
