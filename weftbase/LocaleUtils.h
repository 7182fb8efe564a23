// Number settings of the user's locale.
#pragma once

#include "weftbase/WeftBaseApi.h"

#include <afx.h>

class WEFTBASE_API LocaleUtils
{
public:
    // Digits after the decimal separator in the user's number format (0 to 9); 2 if unknown.
    static unsigned int GetNumberFractionalDigits();
    // The user's decimal separator; "." if unknown.
    static CString GetDecimalSeparator();
    // The user's separator of digit groups; "," if unknown.
    static CString GetThousandSeparator();
};
