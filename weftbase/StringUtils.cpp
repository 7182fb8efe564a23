#include "weftbase/StringUtils.h"

#include <cstring>

namespace
{
// Each character is mixed with a key that depends on its position, so that equal characters
// do not give equal codes. Codes are kept above 255 so that a plain byte never decodes.
int KeyAt(size_t i)
{
    return static_cast<int>((0xA5u + 17u * static_cast<unsigned>(i)) & 0xFFu);
}
}  // namespace

bool StringUtils::IsSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

CString StringUtils::DecryptText(const std::vector<int>& codes)
{
    // The text ends before the first code that no character gives, so a damaged table yields
    // a shorter text, never one with a zero inside.
    CString text;
    char* out = text.GetBufferSetLength(static_cast<int>(codes.size()));
    size_t n = 0;
    for (; n < codes.size(); ++n)
    {
        if (codes[n] < 0x100 || codes[n] > 0x1FF)
            break;
        const int c = (codes[n] ^ KeyAt(n)) & 0xFF;  // the mask drops the code's 0x100
        if (c == 0)
            break;
        out[n] = static_cast<char>(c);
    }
    text.ReleaseBuffer(static_cast<int>(n));
    return text;
}

std::vector<int> StringUtils::EncryptText(const char* text)
{
    std::vector<int> codes;
    if (text == nullptr)
        return codes;
    const size_t n = std::strlen(text);
    codes.reserve(n);
    for (size_t i = 0; i < n; ++i)
        codes.push_back(((static_cast<unsigned char>(text[i])) ^ KeyAt(i)) + 0x100);
    return codes;
}

bool StringUtils::IsEffectivelyEmpty(const char* text)
{
    if (text == nullptr)
        return true;
    for (; *text; ++text)
        if (!IsSpace(*text))
            return false;
    return true;
}

CString StringUtils::Trim(const char* text)
{
    CString result(text);
    result.Trim();
    return result;
}
