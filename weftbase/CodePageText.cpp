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

// The narrow form with the flags given: into the stack buffer if it fits, else into heap. 0 if
// the text has no form with these flags (the sizing call fails then too).
int Convert(const wchar_t* text, int length, DWORD flags, char* stack, std::vector<char>& heap, char*& narrow)
{
    narrow = stack;
    int bytes = ::WideCharToMultiByte(CP_ACP, flags, text, length, stack, StackChars, nullptr, nullptr);
    if (bytes == 0)
    {
        const int size = ::WideCharToMultiByte(CP_ACP, flags, text, length, nullptr, 0, nullptr, nullptr);
        if (size <= 0)
            return 0;
        heap.resize(static_cast<size_t>(size));
        narrow = heap.data();
        bytes = ::WideCharToMultiByte(CP_ACP, flags, text, length, narrow, size, nullptr, nullptr);
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
    // UTF-8 takes no best-fit flag; it refuses a lone surrogate instead, and a second call gives the
    // form with the replacement. A default character never reads back as what it stands for, so
    // the round trip alone tells an exact form.
    const bool unicode = ::GetACP() == CP_UTF8;
    char stack[StackChars];
    std::vector<char> heap;
    char* narrow = nullptr;
    int bytes = Convert(text, length, unicode ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS, stack, heap, narrow);
    const bool exact = bytes > 0;
    if (!exact && unicode)
        bytes = Convert(text, length, 0, stack, heap, narrow);
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
