// Path text helpers shared by the file, directory and zip code of this library. Not exported.
//
// Narrow paths are in the system code page, where a character may take two bytes and its second
// byte may be 0x5C ('\') or 0x7C ('|'): every scan for a separator or a special character steps
// over whole characters. Walks of trees work on the wide, extended form of a path ("\\?\C:\..."),
// which knows no length limit and no code page.
#pragma once

#include <afx.h>

#include <cstring>
#include <string>

namespace PathText
{
// Longest path the narrow file functions take: MAX_PATH less the terminator.
constexpr int MaxPathChars = MAX_PATH - 1;

inline bool IsSeparator(char c)
{
    return c == '\\' || c == '/';
}

inline int Length(const char* path)
{
    return path ? static_cast<int>(std::strlen(path)) : 0;
}

// Non-empty and no longer than the platform takes.
inline bool FitsLimit(const char* path, int limit = MaxPathChars)
{
    const int n = Length(path);
    return n > 0 && n <= limit;
}

// Byte index of the first character at or after from (a character boundary) that is one of the
// single-byte characters of set; -1 if none. FindLastChar: the last such character.
int FindChar(const CString& text, const char* set, int from = 0);
int FindLastChar(const CString& text, const char* set);
// Whether the last character of the text is '\' or '/'.
bool EndsWithSeparator(const CString& text);

// Index of the last separator, -1 if none.
inline int LastSeparator(const CString& path)
{
    return FindLastChar(path, "\\/");
}

// The path without trailing separators, unless it is separators only.
CString WithoutTrailingSeparators(const char* path);
// The last component: what follows the last separator (or a drive's colon).
CString LastComponent(const CString& path);
// The full form of a path, for comparing two names of one file; the path itself if that fails.
CString FullPath(const char* path);

// Code page text to UTF-16 and back ('?' for what the code page lacks: for messages only).
std::wstring Wide(const char* text);
CString Narrow(const std::wstring& text);
// The full path in the extended form that the wide file functions take at any length:
// "\\?\C:\dir", "\\?\UNC\server\share\dir". A trailing separator stays.
std::wstring Extended(const std::wstring& path);
}  // namespace PathText
