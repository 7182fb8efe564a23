#include "weftbase/FileUtils.h"

#include "weftbase/FilePatternMatcher.h"
#include "weftbase/PathText.h"
#include "weftbase/SystemUtils.h"
#include "weftbase/ZipWriter.h"

#include <string>
#include <vector>

namespace
{
constexpr DWORD ForcedAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;

DWORD RefusalCode(const char* path)
{
    return PathText::Length(path) == 0 ? ERROR_INVALID_PARAMETER : ERROR_FILENAME_EXCED_RANGE;
}

// The text as UTF-16 with '/' made '\\', in upper case if asked: one element per character of the
// code page, so that '?' takes a whole character and accented letters fold too.
std::wstring Folded(const char* text, bool ignoreCase)
{
    std::wstring wide = PathText::Wide(text);
    for (wchar_t& c : wide)
        if (c == L'/')
            c = L'\\';
    if (ignoreCase && !wide.empty())
        ::CharUpperBuffW(wide.data(), static_cast<DWORD>(wide.size()));
    return wide;
}
}  // namespace

bool FileUtils::DoesFileExist(const char* path)
{
    if (!PathText::FitsLimit(path))
        return false;
    return ::GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES;
}

bool FileUtils::DeleteFileA(const char* path, CString& error, bool force, bool retry)
{
    error.Empty();
    if (!PathText::FitsLimit(path))
    {
        error = SystemUtils::GetLastError(RefusalCode(path));
        return false;
    }
    DWORD attributes = INVALID_FILE_ATTRIBUTES;
    bool cleared = false;
    if (force)
    {
        attributes = ::GetFileAttributesA(path);
        if (attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY) &&
            (attributes & ForcedAttributes))
            cleared = ::SetFileAttributesA(path, (attributes & ~ForcedAttributes) | FILE_ATTRIBUTE_NORMAL) != FALSE;
    }
    // Up to about a second of retries, for a file held open for a moment by another program.
    const int attempts = retry ? 20 : 1;
    DWORD code;
    for (int i = 0; i < attempts; ++i)
    {
        if (::DeleteFileA(path))
            return true;
        code = ::GetLastError();
        if (code != ERROR_SHARING_VIOLATION && code != ERROR_LOCK_VIOLATION)
            break;
        if (i + 1 < attempts)
            ::Sleep(50);
    }
    if (cleared)
        ::SetFileAttributesA(path, attributes);
    error = SystemUtils::GetLastError(code);
    ::SetLastError(code);
    return false;
}

CString FileUtils::GetFileExt(const char* path)
{
    const CString name = PathText::LastComponent(CString(path));
    const int dot = name.ReverseFind('.');
    return dot < 0 ? CString() : name.Mid(dot + 1);
}

bool FileUtils::GetFileInfoCore(const char* path, unsigned long long& size, DateTime& modified)
{
    size = 0;
    modified.Clear();
    if (!PathText::FitsLimit(path))
        return false;
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!::GetFileAttributesExA(path, GetFileExInfoStandard, &data))
        return false;
    if (!(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
        size = (static_cast<unsigned long long>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
    modified.Set(data.ftLastWriteTime);
    return true;
}

bool FileUtils::MatchFileSpec(const char* path, bool isFile, const TextArray& include, const TextArray& exclude,
                              bool ignoreCase)
{
    return FilePatternMatcher(include, exclude, ignoreCase).Matches(path, isFile);
}

namespace
{
// Greedy scan that returns to the last '*' on a mismatch: linear for one star, and never worse
// than text length times pattern length. fold gives the character as compared.
template <class Char, class Fold>
bool Glob(const Char* t, const Char* p, Fold fold)
{
    const Char* star = nullptr;
    const Char* resume = nullptr;
    while (*t)
    {
        if (*p == '*')
        {
            star = p++;
            resume = t;
        }
        else if (*p && (*p == '?' || fold(*p) == fold(*t)))
        {
            ++p;
            ++t;
        }
        else if (star)
        {
            p = star + 1;
            t = ++resume;
        }
        else
            return false;
    }
    while (*p == '*')
        ++p;
    return *p == 0;
}

bool IsAscii(const char* text)
{
    for (; *text; ++text)
        if (static_cast<unsigned char>(*text) >= 0x80)
            return false;
    return true;
}
}  // namespace

bool FileUtils::MatchWildcard(const char* text, const char* pattern, bool ignoreCase)
{
    if (!text || !pattern)
        return false;
    // Plain ASCII, the common case, is compared in place; anything else as UTF-16, so that '?'
    // takes a whole character and accented letters fold too.
    if (IsAscii(text) && IsAscii(pattern))
        return Glob(text, pattern, [ignoreCase](char c) {
            if (c == '/')
                return '\\';
            return ignoreCase && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        });
    const std::wstring textChars = Folded(text, ignoreCase);
    const std::wstring patternChars = Folded(pattern, ignoreCase);
    return Glob(textChars.c_str(), patternChars.c_str(), [](wchar_t c) { return c; });
}

CString FileUtils::ParseFileNameFromPath(const char* path, bool withExtension)
{
    const CString name = PathText::LastComponent(CString(path));
    if (withExtension)
        return name;
    const int dot = name.ReverseFind('.');
    return dot < 0 ? name : name.Left(dot);
}

bool FileUtils::CreateZipFile(const char* output, const TextArray& files, const char* baseDir)
{
    ZipWriter zip(output);
    if (!zip.IsOpen())
        return false;
    CString base(baseDir);
    if (!base.IsEmpty())
    {
        base = PathText::FullPath(base);
        if (!PathText::EndsWithSeparator(base))
            base += '\\';
    }
    for (unsigned long long i = 0; i < files.GetCount(); ++i)
    {
        const CString item = files.GetCopyAt(i);
        CString name;
        if (!base.IsEmpty())
        {
            const CString full = PathText::FullPath(item);
            if (full.GetLength() > base.GetLength() && full.Left(base.GetLength()).CompareNoCase(base) == 0)
                name = full.Mid(base.GetLength());
        }
        if (name.IsEmpty())
            name = PathText::LastComponent(PathText::WithoutTrailingSeparators(item));
        zip.AddItem(item, name);
    }
    return zip.Finish();
}
