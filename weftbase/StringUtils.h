// Text helpers, and the cipher of the library's coded texts.
#pragma once

#include "weftbase/WeftBaseApi.h"

#include <afx.h>

#include <vector>

class WEFTBASE_API StringUtils
{
public:
    // Turns a coded table back into its text; the same table gives the same text in every process.
    static CString DecryptText(const std::vector<int>& codes);
    // The coded table of a text: DecryptText(EncryptText(t)) == t.
    static std::vector<int> EncryptText(const char* text);
    // True for a null or empty text and for one of white space only.
    static bool IsEffectivelyEmpty(const char* text);
    // The white space that Trim takes off either end.
    static bool IsSpace(char c);
    // The text without leading and trailing white space.
    static CString Trim(const char* text);
};
