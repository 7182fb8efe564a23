#include "weftbase/PathText.h"

int PathText::FindChar(const CString& text, const char* set, int from)
{
    const char* begin = text.GetString();
    for (const char* p = begin + from; *p; p = ::CharNextA(p))
        if (std::strchr(set, *p))
            return static_cast<int>(p - begin);
    return -1;
}

int PathText::FindLastChar(const CString& text, const char* set)
{
    int last = -1;
    for (int at = FindChar(text, set); at >= 0; at = FindChar(text, set, at + 1))
        last = at;
    return last;
}

bool PathText::EndsWithSeparator(const CString& text)
{
    // CharPrevA steps back a whole character, and stays put at the start of an empty text.
    const char* begin = text.GetString();
    const int n = text.GetLength();
    const char* last = ::CharPrevA(begin, begin + n);
    return last - begin == n - 1 && IsSeparator(*last);
}

CString PathText::WithoutTrailingSeparators(const char* path)
{
    const CString text(path);
    const char* begin = text.GetString();
    int end = 0;  // just past the last character that is no separator
    for (const char* p = begin; *p;)
    {
        const char* next = ::CharNextA(p);
        if (!IsSeparator(*p))
            end = static_cast<int>(next - begin);
        p = next;
    }
    return end == 0 ? text : text.Left(end);
}

CString PathText::LastComponent(const CString& path)
{
    int cut = LastSeparator(path);
    if (cut < 0 && path.GetLength() >= 2 && path[1] == ':')
        cut = 1;
    return path.Mid(cut + 1);
}

CString PathText::FullPath(const char* path)
{
    char buffer[MAX_PATH];
    const DWORD n = ::GetFullPathNameA(path, MAX_PATH, buffer, nullptr);
    if (n == 0 || n >= MAX_PATH)
        return CString(path);
    return CString(buffer, static_cast<int>(n));
}

std::wstring PathText::Wide(const char* text)
{
    const int n = text && *text ? ::MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0) : 0;
    if (n <= 0)
        return {};
    std::wstring wide(static_cast<size_t>(n), L'\0');
    ::MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), n);
    wide.resize(wide.size() - 1);
    return wide;
}

CString PathText::Narrow(const std::wstring& text)
{
    const int size = static_cast<int>(text.size());
    const int n = ::WideCharToMultiByte(CP_ACP, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    if (n <= 0)
        return CString();
    CString narrow;
    ::WideCharToMultiByte(CP_ACP, 0, text.data(), size, narrow.GetBuffer(n), n, nullptr, nullptr);
    narrow.ReleaseBuffer(n);
    return narrow;
}

std::wstring PathText::Extended(const std::wstring& path)
{
    // Already extended, or a device ("\\.\pipe\x"): as it is.
    if (path.rfind(L"\\\\?\\", 0) == 0 || path.rfind(L"\\\\.\\", 0) == 0)
        return path;
    const DWORD size = ::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    std::wstring full(size, L'\0');
    const DWORD n = ::GetFullPathNameW(path.c_str(), size, full.data(), nullptr);
    if (n == 0 || n >= size)
        return path;
    full.resize(n);
    if (full.rfind(L"\\\\", 0) == 0)
        return L"\\\\?\\UNC\\" + full.substr(2);
    return L"\\\\?\\" + full;
}
