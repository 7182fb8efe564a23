// Texts between UTF-16 and the system code page, where a narrow name must stand for the same file,
// directory or key as its wide form. Used by the walks and monitors that give narrow names to
// their owner, and by the registry listings.
//
//   CString name;
//   if (!CodePageText::ToCodePage(entry.cFileName, -1, name))
//       ... // "a＼b.txt" (U+FF3C): name is "a?b.txt", which names another file or none
//
// A conversion is exact only if it needs neither a best-fit look-alike nor the code page's
// default character, and the narrow form converts back to the same UTF-16 text. Under UTF-8
// every valid text is exact and a lone surrogate is not.
#pragma once

#include "weftbase/WeftBaseApi.h"

#include <afx.h>

#include <string>

class WEFTBASE_API CodePageText
{
public:
    CodePageText() = delete;

    // The code-page form of length characters of text (up to the terminator if length is
    // negative) into out, zeros within the length kept; the default character stands for what the
    // code page lacks, never a look-alike. True if the form is exact. A null text gives "" and true.
    static bool ToCodePage(const wchar_t* text, int length, CString& out);
    // The UTF-16 form of a code-page text; empty for null.
    static std::wstring ToWide(const char* text);
    // Whether a name is "." or "..", the entries a directory lists for itself and its parent.
    static bool IsDots(const wchar_t* name);
};
