// CString: the framework's narrow-character string, in the system code page.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

class CString
{
public:
    CString() = default;
    CString(const char* psz) : m_str(psz ? psz : "") {}
    CString(const char* pch, int nLength) : m_str(pch ? std::string(pch, pch + std::max(nLength, 0)) : std::string()) {}
    CString(char ch, int nRepeat = 1) : m_str(static_cast<size_t>(std::max(nRepeat, 0)), ch) {}

    int GetLength() const { return static_cast<int>(m_str.size()); }
    bool IsEmpty() const { return m_str.empty(); }
    void Empty() { m_str.clear(); }
    const char* GetString() const { return m_str.c_str(); }
    operator const char*() const { return m_str.c_str(); }

    char GetAt(int i) const { return m_str[static_cast<size_t>(i)]; }
    void SetAt(int i, char ch) { m_str[static_cast<size_t>(i)] = ch; }
    char operator[](int i) const { return GetAt(i); }

    CString& operator=(const char* psz) { m_str = psz ? psz : ""; return *this; }
    CString& operator=(char ch) { m_str.assign(1, ch); return *this; }
    CString& operator+=(const CString& s) { m_str += s.m_str; return *this; }
    CString& operator+=(const char* psz) { if (psz) m_str += psz; return *this; }
    CString& operator+=(char ch) { m_str += ch; return *this; }

    friend CString operator+(const CString& a, const CString& b) { return CString(a.m_str + b.m_str); }
    friend CString operator+(const CString& a, const char* b) { CString r(a); r += b; return r; }
    friend CString operator+(const char* a, const CString& b) { CString r(a); r += b; return r; }
    friend CString operator+(const CString& a, char b) { CString r(a); r += b; return r; }
    friend CString operator+(char a, const CString& b) { CString r(a); r += b; return r; }

    friend bool operator==(const CString& a, const CString& b) { return a.m_str == b.m_str; }
    friend bool operator==(const CString& a, const char* b) { return a.m_str == (b ? b : ""); }
    friend bool operator<(const CString& a, const CString& b) { return a.m_str < b.m_str; }

    int Compare(const char* psz) const { return std::strcmp(m_str.c_str(), psz ? psz : ""); }
    int CompareNoCase(const char* psz) const { return lstrcmpiA(m_str.c_str(), psz ? psz : ""); }

    int Find(char ch, int nStart = 0) const { return Pos(m_str.find(ch, Start(nStart))); }
    int Find(const char* psz, int nStart = 0) const
    {
        return psz ? Pos(m_str.find(psz, Start(nStart))) : -1;
    }
    int ReverseFind(char ch) const { return Pos(m_str.rfind(ch)); }
    int FindOneOf(const char* psz) const { return psz ? Pos(m_str.find_first_of(psz)) : -1; }

    CString Left(int n) const { return CString(m_str.substr(0, Start(n))); }
    CString Right(int n) const
    {
        size_t k = Start(n);
        return CString(m_str.substr(m_str.size() - std::min(k, m_str.size())));
    }
    // As the framework's, a start past the end gives the empty string (substr would throw).
    CString Mid(int nFirst) const { return Mid(nFirst, GetLength()); }
    CString Mid(int nFirst, int nCount) const
    {
        return CString(m_str.substr(std::min(Start(nFirst), m_str.size()), Start(nCount)));
    }

    CString& MakeUpper() { CharUpperBuffA(Raw(), static_cast<DWORD>(m_str.size())); return *this; }
    CString& MakeLower() { CharLowerBuffA(Raw(), static_cast<DWORD>(m_str.size())); return *this; }

    CString& TrimLeft(const char* set = " \t\r\n\v\f")
    {
        m_str.erase(0, std::min(m_str.find_first_not_of(set), m_str.size()));
        return *this;
    }
    CString& TrimRight(const char* set = " \t\r\n\v\f")
    {
        size_t last = m_str.find_last_not_of(set);
        m_str.erase(last == std::string::npos ? 0 : last + 1);
        return *this;
    }
    CString& TrimLeft(char ch) { const char set[2] = {ch, 0}; return TrimLeft(set); }
    CString& TrimRight(char ch) { const char set[2] = {ch, 0}; return TrimRight(set); }
    CString& Trim(const char* set = " \t\r\n\v\f") { TrimRight(set); return TrimLeft(set); }
    CString& Trim(char ch) { TrimRight(ch); return TrimLeft(ch); }

    // Replaces every occurrence of the old text; gives the number of replacements.
    int Replace(const char* pszOld, const char* pszNew)
    {
        if (!pszOld || !*pszOld)
            return 0;
        const std::string from(pszOld), to(pszNew ? pszNew : "");
        int n = 0;
        for (size_t at = m_str.find(from); at != std::string::npos; at = m_str.find(from, at + to.size()))
        {
            m_str.replace(at, from.size(), to);
            ++n;
        }
        return n;
    }
    int Replace(char chOld, char chNew)
    {
        int n = 0;
        for (char& c : m_str)
            if (c == chOld) { c = chNew; ++n; }
        return n;
    }
    int Remove(char ch)
    {
        size_t before = m_str.size();
        m_str.erase(std::remove(m_str.begin(), m_str.end(), ch), m_str.end());
        return static_cast<int>(before - m_str.size());
    }
    int Insert(int nIndex, const char* psz)
    {
        m_str.insert(std::min(Start(nIndex), m_str.size()), psz ? psz : "");
        return GetLength();
    }
    int Delete(int nIndex, int nCount = 1)
    {
        size_t at = Start(nIndex);
        if (at < m_str.size())
            m_str.erase(at, Start(nCount));
        return GetLength();
    }

    void Format(const char* fmt, ...)
    {
        va_list args;
        va_start(args, fmt);
        FormatV(fmt, args);
        va_end(args);
    }
    void AppendFormat(const char* fmt, ...)
    {
        CString more;
        va_list args;
        va_start(args, fmt);
        more.FormatV(fmt, args);
        va_end(args);
        m_str += more.m_str;
    }
    void FormatV(const char* fmt, va_list args)
    {
        va_list copy;
        va_copy(copy, args);
        int n = fmt ? std::vsnprintf(nullptr, 0, fmt, copy) : 0;
        va_end(copy);
        m_str.assign(static_cast<size_t>(std::max(n, 0)), '\0');
        if (n > 0)
            std::vsnprintf(m_str.data(), m_str.size() + 1, fmt, args);
    }

    // A writable buffer of at least nMinLength characters; ReleaseBuffer fixes the length.
    char* GetBuffer(int nMinLength = 0)
    {
        if (static_cast<size_t>(std::max(nMinLength, 0)) > m_str.size())
            m_str.resize(static_cast<size_t>(nMinLength));
        return m_str.data();
    }
    char* GetBufferSetLength(int nLength)
    {
        m_str.resize(Start(nLength));
        return m_str.data();
    }
    void ReleaseBuffer(int nNewLength = -1)
    {
        m_str.resize(nNewLength < 0 ? std::strlen(m_str.c_str()) : std::min(Start(nNewLength), m_str.size()));
    }

private:
    // For the members that build their result as a standard string; not a public conversion.
    explicit CString(std::string str) : m_str(std::move(str)) {}

    static size_t Start(int n) { return n < 0 ? 0 : static_cast<size_t>(n); }
    static int Pos(size_t p) { return p == std::string::npos ? -1 : static_cast<int>(p); }
    char* Raw() { return m_str.data(); }

    std::string m_str;
};
