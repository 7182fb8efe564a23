#include "weftbase/RegistryUtils.h"

#include "weftbase/CodePageText.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

namespace
{
class OpenKey
{
public:
    OpenKey(HKEY root, const char* path)
    {
        if (root == nullptr)
            return;
        m_nStatus = ::RegOpenKeyExA(root, path ? path : "", 0, KEY_READ, &m_hKey);
        if (m_nStatus != ERROR_SUCCESS)
            m_hKey = nullptr;
    }
    ~OpenKey()
    {
        if (m_hKey)
            ::RegCloseKey(m_hKey);
    }
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;
    HKEY Get() const { return m_hKey; }
    LONG Status() const { return m_nStatus; }

private:
    HKEY m_hKey = nullptr;
    LONG m_nStatus = ERROR_INVALID_HANDLE;
};

CString Join(const char* key, const char* child)
{
    CString path(key);
    // Trailing backslashes go; the second byte of a double-byte character is none.
    int end = path.GetLength();
    while (end > 0 && ::CharPrevA(path, path.GetString() + end) == path.GetString() + end - 1 &&
           path[end - 1] == '\\')
        --end;
    path = path.Left(end);
    if (!path.IsEmpty())
        path += '\\';
    return path + child;
}

// The text of value data read wide: the three text types are put in the code page first, their
// zeros kept, so that FormatValue reads what the narrow calls would give; other types as stored.
// An odd last byte of text data is no character and goes.
CString FormatWide(unsigned long type, const unsigned char* data, unsigned long size, bool expand)
{
    if (type != REG_SZ && type != REG_EXPAND_SZ && type != REG_MULTI_SZ)
        return RegistryUtils::FormatValue(type, data, size, expand);
    std::vector<wchar_t> wide(size / 2);
    std::memcpy(wide.data(), data, wide.size() * sizeof(wchar_t));
    CString text;
    CodePageText::ToCodePage(wide.data(), static_cast<int>(wide.size()), text);
    return RegistryUtils::FormatValue(type, reinterpret_cast<const unsigned char*>(text.GetString()),
                                      static_cast<unsigned long>(text.GetLength()), expand);
}

// Lists the keys below key into list. False if a key of the tree exists but could not be listed
// whole: what could be read is listed all the same. A key whose name the code page cannot hold
// is left out with all below it, and counted in leftOut: its narrow name would open another key
// or none.
bool ListSubKeys(HKEY root, const CString& key, TextArray& list, bool recursive, unsigned long& leftOut)
{
    // Names are read first and the key closed before going down, so that a deep tree does not
    // hold a handle per level.
    std::vector<CString> children;
    bool complete = true;
    {
        // A key deleted since its parent was listed is no loss.
        OpenKey open(root, key);
        if (!open.Get())
            return open.Status() == ERROR_FILE_NOT_FOUND;
        // A key name has at most 255 characters (in a double-byte code page, up to twice as many bytes).
        wchar_t name[256];
        CString narrow;
        for (DWORD i = 0;; ++i)
        {
            DWORD length = ARRAYSIZE(name);
            const LONG code = ::RegEnumKeyExW(open.Get(), i, name, &length, nullptr, nullptr, nullptr, nullptr);
            if (code == ERROR_NO_MORE_ITEMS)
                break;
            if (code != ERROR_SUCCESS)
            {
                complete = false;
                break;
            }
            if (CodePageText::ToCodePage(name, static_cast<int>(length), narrow))
                children.push_back(narrow);
            else if (leftOut < ULONG_MAX)
                ++leftOut;
        }
    }
    for (const CString& child : children)
    {
        const CString path = Join(key, child);
        list.Add(path);
        if (recursive && !ListSubKeys(root, path, list, true, leftOut))
            complete = false;
    }
    return complete;
}

CString Hex(const unsigned char* data, unsigned long size)
{
    static const char digits[] = "0123456789abcdef";
    CString text;
    for (unsigned long i = 0; i < size; ++i)
    {
        if (i > 0)
            text += ' ';
        text += digits[data[i] >> 4];
        text += digits[data[i] & 0xF];
    }
    return text;
}

// Characters of a text value up to its first zero, or all of them without one.
CString TextOf(const unsigned char* data, unsigned long size)
{
    unsigned long n = 0;
    while (n < size && data[n] != 0)
        ++n;
    return CString(reinterpret_cast<const char*>(data), static_cast<int>(n));
}

// Calls found(name, text) for each value of root\key in the registry's order; the text only when
// withData is true (else empty). A name that the code page cannot hold comes with the default
// character where a character is lacking and the empty text, its data never read by that name;
// if that name finds another value of the key, the value is left out instead (counted in
// leftOut), since the text would name that other value. False if the key cannot be opened or the
// listing fails part-way.
template <class Found>
bool ListValues(HKEY root, const char* key, bool withData, bool expand, unsigned long* leftOut, Found found)
{
    if (leftOut != nullptr)
        *leftOut = 0;
    OpenKey open(root, key);
    if (!open.Get())
        return false;
    DWORD longestName, longestData;
    if (::RegQueryInfoKeyW(open.Get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &longestName,
                           &longestData, nullptr, nullptr) != ERROR_SUCCESS)
        longestName = 16383, longestData = 256;
    std::vector<wchar_t> name(longestName + 2);
    std::vector<unsigned char> data(withData ? longestData + 2 : 0);
    CString narrow;
    int retries = 0;
    for (DWORD i = 0;; ++i)
    {
        DWORD length = static_cast<DWORD>(name.size()), size = static_cast<DWORD>(data.size()), type = REG_NONE;
        const LONG code = ::RegEnumValueW(open.Get(), i, name.data(), &length, nullptr, &type,
                                          withData ? data.data() : nullptr, withData ? &size : nullptr);
        if (code == ERROR_NO_MORE_ITEMS)
            break;
        if (code == ERROR_MORE_DATA && ++retries < 8)
        {
            // A longer name or larger data arrived meanwhile: make room and read this index again.
            // A name has at most 16383 characters.
            name.resize(std::max<size_t>(name.size(), 16385));
            if (withData)
                data.resize(std::max<size_t>(data.size() * 2, static_cast<size_t>(size) + 256));
            --i;
            continue;
        }
        if (code != ERROR_SUCCESS)
            return false;
        retries = 0;
        if (CodePageText::ToCodePage(name.data(), static_cast<int>(length), narrow))
        {
            if (!withData)
                found(narrow, CString());
            else
                found(narrow, FormatWide(type, data.data(), size, expand));
        }
        else if (::RegQueryValueExA(open.Get(), narrow, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            found(narrow, CString());
        else if (leftOut != nullptr && *leftOut < ULONG_MAX)
            ++*leftOut;
    }
    return true;
}
}  // namespace

bool RegistryUtils::GetSubKeys(HKEY root, const char* key, TextArray& subKeys, bool recursive, unsigned long* leftOut)
{
    subKeys.RemoveAll();
    unsigned long count = 0;
    if (leftOut != nullptr)
        *leftOut = 0;
    {
        OpenKey open(root, key);
        if (!open.Get())
            return false;
    }
    const bool complete = ListSubKeys(root, CString(key), subKeys, recursive, count);
    if (leftOut != nullptr)
        *leftOut = count;
    return complete;
}

bool RegistryUtils::GetKeyValues(HKEY root, const char* key, TextArray& names, unsigned long* leftOut)
{
    names.RemoveAll();
    return ListValues(root, key, false, false, leftOut, [&](const CString& name, const CString&) { names.Add(name); });
}

bool RegistryUtils::GetKeyValueTexts(HKEY root, const char* key, TextArray& names, TextArray& texts, bool expand,
                                     unsigned long* leftOut)
{
    names.RemoveAll();
    texts.RemoveAll();
    return ListValues(root, key, true, expand, leftOut, [&](const CString& name, const CString& text) {
        names.Add(name);
        texts.Add(text);
    });
}

CString RegistryUtils::GetKeyValue(HKEY root, const char* key, const char* name, bool expand)
{
    CString text;
    unsigned long type;
    GetKeyValue(root, key, name, expand, text, type);
    return text;
}

bool RegistryUtils::GetKeyValue(HKEY root, const char* key, const char* name, bool expand, CString& text,
                                unsigned long& type)
{
    text.Empty();
    type = REG_NONE;
    OpenKey open(root, key);
    if (!open.Get())
        return false;
    // Read wide, so that a text comes in the code page as the one-pass listing gives it.
    const std::wstring wide = CodePageText::ToWide(name);
    std::vector<unsigned char> data(256);
    for (int attempt = 0; attempt < 8; ++attempt)
    {
        DWORD size = static_cast<DWORD>(data.size());
        DWORD kind = REG_NONE;
        const LONG code = ::RegQueryValueExW(open.Get(), wide.empty() ? nullptr : wide.c_str(), nullptr, &kind,
                                             data.data(), &size);
        if (code == ERROR_MORE_DATA)
        {
            // The size asked for, with room in case the value grows before the next read.
            data.resize(static_cast<size_t>(size) + 256);
            continue;
        }
        if (code != ERROR_SUCCESS)
            return false;
        type = kind;
        text = FormatWide(kind, data.data(), size, expand);
        return true;
    }
    return false;
}

CString RegistryUtils::FormatValue(unsigned long type, const unsigned char* data, unsigned long size, bool expand)
{
    if (data == nullptr)
        size = 0;
    CString text;
    switch (type)
    {
    case REG_SZ:
        return TextOf(data, size);
    case REG_EXPAND_SZ:
    {
        text = TextOf(data, size);
        if (!expand || text.IsEmpty())
            return text;
        // A size of 0 (the first call failed) makes the second call fail or ask for more: the text stays.
        const DWORD n = ::ExpandEnvironmentStringsA(text, nullptr, 0);
        CString expanded;
        char* out = expanded.GetBufferSetLength(static_cast<int>(n));
        const DWORD written = ::ExpandEnvironmentStringsA(text, out, n);
        if (written == 0 || written > n)
            return text;
        expanded.ReleaseBuffer(static_cast<int>(written) - 1);
        return expanded;
    }
    case REG_MULTI_SZ:
    {
        // Zero-terminated texts, ended by an empty one (or by the end of the data).
        unsigned long at = 0;
        bool first = true;
        while (at < size && data[at] != 0)
        {
            unsigned long end = at;
            while (end < size && data[end] != 0)
                ++end;
            if (!first)
                text += '\n';
            text += CString(reinterpret_cast<const char*>(data + at), static_cast<int>(end - at));
            first = false;
            at = end + 1;
        }
        return text;
    }
    case REG_DWORD:
        if (size != 4)
            return Hex(data, size);
        text.Format("%lu", static_cast<unsigned long>(data[0] | (data[1] << 8) | (data[2] << 16) |
                                                      (static_cast<unsigned long>(data[3]) << 24)));
        return text;
    case REG_DWORD_BIG_ENDIAN:
        if (size != 4)
            return Hex(data, size);
        text.Format("%lu", static_cast<unsigned long>(data[3] | (data[2] << 8) | (data[1] << 16) |
                                                      (static_cast<unsigned long>(data[0]) << 24)));
        return text;
    case REG_QWORD:
    {
        if (size != 8)
            return Hex(data, size);
        unsigned long long value;
        std::memcpy(&value, data, sizeof value);  // little-endian, as Windows is
        text.Format("%llu", value);
        return text;
    }
    default:
        return Hex(data, size);
    }
}
