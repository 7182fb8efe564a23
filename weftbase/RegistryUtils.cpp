#include "weftbase/RegistryUtils.h"

#include <algorithm>
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

// Lists the keys below key into list. False if a key of the tree exists but could not be listed
// whole: what could be read is listed all the same.
bool ListSubKeys(HKEY root, const CString& key, TextArray& list, bool recursive)
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
        // A name of 255 characters takes up to twice as many bytes in a double-byte code page.
        std::vector<char> name(256);
        for (DWORD i = 0;; ++i)
        {
            DWORD length = static_cast<DWORD>(name.size());
            const LONG code = ::RegEnumKeyExA(open.Get(), i, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
            if (code == ERROR_NO_MORE_ITEMS)
                break;
            if (code == ERROR_MORE_DATA && name.size() < 65536)
            {
                name.resize(name.size() * 2);
                --i;
                continue;
            }
            if (code != ERROR_SUCCESS)
            {
                complete = false;
                break;
            }
            children.emplace_back(name.data(), static_cast<int>(length));
        }
    }
    for (const CString& child : children)
    {
        const CString path = Join(key, child);
        list.Add(path);
        if (recursive && !ListSubKeys(root, path, list, true))
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

// Calls found(name, length, type, data, size) for each value of root\key in the registry's
// order; the data only when withData is true (else null and 0). False if the key cannot be
// opened or the listing fails part-way.
template <class Found>
bool ListValues(HKEY root, const char* key, bool withData, Found found)
{
    OpenKey open(root, key);
    if (!open.Get())
        return false;
    DWORD longestName = 0, longestData = 0;
    if (::RegQueryInfoKeyA(open.Get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &longestName,
                           &longestData, nullptr, nullptr) != ERROR_SUCCESS)
        longestName = 16383, longestData = 256;
    std::vector<char> name(longestName + 2);
    std::vector<unsigned char> data(withData ? longestData + 2 : 0);
    int retries = 0;
    for (DWORD i = 0;; ++i)
    {
        DWORD length = static_cast<DWORD>(name.size()), size = static_cast<DWORD>(data.size()), type = REG_NONE;
        const LONG code = ::RegEnumValueA(open.Get(), i, name.data(), &length, nullptr, &type,
                                          withData ? data.data() : nullptr, withData ? &size : nullptr);
        if (code == ERROR_NO_MORE_ITEMS)
            break;
        if (code == ERROR_MORE_DATA && ++retries < 8)
        {
            // A longer name or larger data arrived meanwhile: make room and read this index again.
            // A name has at most 16383 characters, two bytes each in a double-byte code page.
            name.resize(std::max<size_t>(name.size(), 32770));
            if (withData)
                data.resize(std::max<size_t>(data.size() * 2, static_cast<size_t>(size) + 256));
            --i;
            continue;
        }
        if (code != ERROR_SUCCESS)
            return false;
        retries = 0;
        found(name.data(), static_cast<int>(length), type, withData ? data.data() : nullptr, withData ? size : 0);
    }
    return true;
}
}  // namespace

bool RegistryUtils::GetSubKeys(HKEY root, const char* key, TextArray& subKeys, bool recursive)
{
    subKeys.RemoveAll();
    {
        OpenKey open(root, key);
        if (!open.Get())
            return false;
    }
    return ListSubKeys(root, CString(key), subKeys, recursive);
}

bool RegistryUtils::GetKeyValues(HKEY root, const char* key, TextArray& names)
{
    names.RemoveAll();
    return ListValues(root, key, false, [&](const char* name, int length, unsigned long, const unsigned char*,
                                            unsigned long) { names.Add(CString(name, length)); });
}

bool RegistryUtils::GetKeyValueTexts(HKEY root, const char* key, TextArray& names, TextArray& texts, bool expand)
{
    names.RemoveAll();
    texts.RemoveAll();
    return ListValues(root, key, true,
                      [&](const char* name, int length, unsigned long type, const unsigned char* data,
                          unsigned long size) {
                          names.Add(CString(name, length));
                          texts.Add(FormatValue(type, data, size, expand));
                      });
}

CString RegistryUtils::GetKeyValue(HKEY root, const char* key, const char* name, bool expand)
{
    CString text;
    unsigned long type = 0;
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
    std::vector<unsigned char> data(256);
    for (int attempt = 0; attempt < 8; ++attempt)
    {
        DWORD size = static_cast<DWORD>(data.size());
        DWORD kind = REG_NONE;
        const LONG code = ::RegQueryValueExA(open.Get(), name, nullptr, &kind, data.data(), &size);
        if (code == ERROR_MORE_DATA)
        {
            // The size asked for, with room in case the value grows before the next read.
            data.resize(static_cast<size_t>(size) + 256);
            continue;
        }
        if (code != ERROR_SUCCESS)
            return false;
        type = kind;
        text = FormatValue(kind, data.data(), size, expand);
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
        const DWORD n = ::ExpandEnvironmentStringsA(text, nullptr, 0);
        if (n == 0)
            return text;
        CString expanded;
        char* out = expanded.GetBufferSetLength(static_cast<int>(n));
        const DWORD written = ::ExpandEnvironmentStringsA(text, out, n);
        expanded.ReleaseBuffer(written > 0 && written <= n ? static_cast<int>(written) - 1 : 0);
        return written > 0 && written <= n ? expanded : text;
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
        unsigned long long value = 0;
        for (int i = 7; i >= 0; --i)
            value = (value << 8) | data[i];
        text.Format("%llu", value);
        return text;
    }
    default:
        return Hex(data, size);
    }
}
