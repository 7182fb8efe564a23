#include "weftbase/CodePageText.h"

#include "weftbase/PathText.h"

#include <cwchar>
#include <vector>

namespace
{
// Most names fit here; a longer form (a relative path below a watched tree, a registry text)
// goes to the heap, never cut.
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

// The narrow form with the flags given: into the stack buffer if it fits, else into heap.
int Convert(const wchar_t* text, int length, DWORD flags, BOOL* usedDefault, char* stack, std::vector<char>& heap,
            char*& narrow)
{
    narrow = stack;
    int bytes = ::WideCharToMultiByte(CP_ACP, flags, text, length, stack, StackChars, nullptr, usedDefault);
    if (bytes == 0 && ::GetLastError() == ERROR_INSUFFICIENT_BUFFER)
    {
        const int size = ::WideCharToMultiByte(CP_ACP, flags, text, length, nullptr, 0, nullptr, usedDefault);
        heap.resize(static_cast<size_t>(size > 0 ? size : 1));
        narrow = heap.data();
        bytes = size > 0 ? ::WideCharToMultiByte(CP_ACP, flags, text, length, narrow, size, nullptr, usedDefault) : 0;
    }
    return bytes;
}
}  // namespace

bool CodePageText::ToCodePage(const wchar_t* text, int length, CString& out)
{
    out.Empty();
    if (text == nullptr)
        return true;
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
    // The Unicode code pages take neither the best-fit flag nor the used-default pointer; they
    // refuse a lone surrogate instead, and a second call gives the form with the replacement.
    const UINT page = ::GetACP();
    const bool unicode = page == CP_UTF8 || page == 54936;
    BOOL usedDefault = FALSE;
    char stack[StackChars];
    std::vector<char> heap;
    char* narrow = nullptr;
    int bytes = Convert(text, length, unicode ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS,
                        unicode ? nullptr : &usedDefault, stack, heap, narrow);
    bool exact = bytes > 0 && !usedDefault;
    if (bytes <= 0 && unicode)
        bytes = Convert(text, length, 0, nullptr, stack, heap, narrow);
    if (bytes <= 0)
        return false;
    out = CString(narrow, bytes);
    return exact && ComesBack(narrow, bytes, text, length);
}

std::wstring CodePageText::ToWide(const char* text)
{
    return PathText::Wide(text);
}

bool CodePageText::IsDots(const wchar_t* name)
{
    return name != nullptr && name[0] == L'.' && (name[1] == L'\0' || (name[1] == L'.' && name[2] == L'\0'));
}
