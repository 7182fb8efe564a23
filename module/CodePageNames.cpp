#include "module/CodePageNames.h"

#include <cwchar>
#include <vector>

namespace
{
// Most names fit here; a longer form (a relative path below a monitored tree) goes to the heap.
constexpr int StackChars = MAX_PATH;

// Whether the narrow form converts back to exactly the text.
bool ComesBack(const char* narrow, int bytes, const wchar_t* text, int length)
{
    wchar_t stack[StackChars];
    std::vector<wchar_t> heap;
    wchar_t* back = stack;
    if (length > StackChars)
    {
        heap.resize(static_cast<size_t>(length));
        back = heap.data();
    }
    const int n = ::MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, narrow, bytes, back, length);
    return n == length && std::wmemcmp(back, text, static_cast<size_t>(length)) == 0;
}
}  // namespace

bool CodePageNames::Exact(const wchar_t* text, int length, CString& out)
{
    out.Empty();
    if (text == nullptr)
        return false;
    if (length < 0)
        length = static_cast<int>(std::wcslen(text));
    // ASCII is the same in every code page the system takes for ANSI: no conversion call.
    int ascii = 0;
    while (ascii < length && text[ascii] < 0x80)
        ++ascii;
    if (ascii == length)
    {
        char* p = out.GetBuffer(length);
        for (int i = 0; i < length; ++i)
            p[i] = static_cast<char>(text[i]);
        out.ReleaseBuffer(length);
        return true;
    }
    // The Unicode code pages hold every valid text and take neither the flag nor the used-default
    // pointer; they refuse a lone surrogate instead.
    const UINT page = ::GetACP();
    const bool unicode = page == CP_UTF8 || page == 54936;
    const DWORD flags = unicode ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS;
    BOOL usedDefault = FALSE;
    auto convert = [&](char* to, int size) {
        return ::WideCharToMultiByte(CP_ACP, flags, text, length, to, size, nullptr, unicode ? nullptr : &usedDefault);
    };
    char stack[StackChars];
    std::vector<char> heap;
    char* narrow = stack;
    int bytes = convert(stack, StackChars);
    if (bytes == 0 && ::GetLastError() == ERROR_INSUFFICIENT_BUFFER)
    {
        const int size = convert(nullptr, 0);
        heap.resize(static_cast<size_t>(size > 0 ? size : 1));
        narrow = heap.data();
        bytes = size > 0 ? convert(narrow, size) : 0;
    }
    if (bytes <= 0 || usedDefault || !ComesBack(narrow, bytes, text, length))
        return false;
    out = CString(narrow, bytes);
    return true;
}

std::wstring CodePageNames::Wide(const char* text)
{
    const int n = text != nullptr && *text ? ::MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0) : 0;
    std::wstring wide(static_cast<size_t>(n > 0 ? n : 1), L'\0');
    if (n > 0)
        ::MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), n);
    wide.resize(wide.size() - 1);
    return wide;
}

bool CodePageNames::IsDots(const wchar_t* name)
{
    return name[0] == L'.' && (name[1] == L'\0' || (name[1] == L'.' && name[2] == L'\0'));
}
