// Names of files between UTF-16 and the system code page, for the walks and monitors that give
// narrow paths to their owner. Internal to the library and not exported.
//
// A narrow name is given only if it stands for the same name: converted without best fit, with
// no default character, and converting back to the same UTF-16 text. "a＼b.txt" (U+FF3C) never
// becomes "a\b.txt", and a name with a character the code page lacks never gets a '?'; the caller
// then gives the entry's short name, or leaves the entry out and logs it.
#pragma once

#include <afx.h>

#include <string>

namespace CodePageNames
{
// The code-page form of length characters of text (all up to the terminator if length is
// negative) into out. False, with out empty, if the code page cannot hold the text exactly.
bool Exact(const wchar_t* text, int length, CString& out);
// The UTF-16 form of a code-page text.
std::wstring Wide(const char* text);
// Whether a wide name is "." or "..", the entries every directory lists for itself and its parent.
bool IsDots(const wchar_t* name);
}  // namespace CodePageNames
