// Path text helpers shared by the file, directory and zip code of this library. Not exported.
#pragma once

#include <afx.h>

#include <cstring>

namespace PathText
{
// Longest path the narrow file functions take: MAX_PATH less the terminator.
constexpr int MaxPathChars = MAX_PATH - 1;
// Longest directory path: the platform keeps room for an 8.3 name behind a directory.
constexpr int MaxDirChars = MAX_PATH - 12;

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

// Index of the last separator, -1 if none.
inline int LastSeparator(const CString& path)
{
    for (int i = path.GetLength() - 1; i >= 0; --i)
        if (IsSeparator(path[i]))
            return i;
    return -1;
}

// The path without trailing separators, unless it is separators only.
inline CString WithoutTrailingSeparators(const char* path)
{
    CString text(path);
    int n = text.GetLength();
    while (n > 0 && IsSeparator(text[n - 1]))
        --n;
    return n == 0 ? text : text.Left(n);
}

// The last component: what follows the last separator (or a drive's colon).
inline CString LastComponent(const CString& path)
{
    int cut = LastSeparator(path);
    if (cut < 0 && path.GetLength() >= 2 && path[1] == ':')
        cut = 1;
    return path.Mid(cut + 1);
}

// The full form of a path, for comparing two names of one file; the path itself if that fails.
inline CString FullPath(const char* path)
{
    char buffer[MAX_PATH + 1] = {};
    const DWORD n = ::GetFullPathNameA(path, MAX_PATH, buffer, nullptr);
    if (n == 0 || n >= MAX_PATH)
        return CString(path);
    return CString(buffer, static_cast<int>(n));
}
}  // namespace PathText
