#include "weftbase/FileUtils.h"

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

// Splits an entry of a pattern list at ';' and drops blanks around each part.
void SplitSpecs(const TextArray& list, std::vector<CString>& specs)
{
    for (unsigned long long i = 0; i < list.GetCount(); ++i)
    {
        const CString entry = list.GetCopyAt(i);
        int start = 0;
        while (start <= entry.GetLength())
        {
            int end = entry.Find(';', start);
            if (end < 0)
                end = entry.GetLength();
            CString spec = entry.Mid(start, end - start);
            spec.Trim(" \t");
            if (!spec.IsEmpty())
                specs.push_back(spec);
            start = end + 1;
        }
    }
}

bool HasInnerSeparator(const CString& spec)
{
    return spec.FindOneOf("\\/") >= 0;
}

// Whether one pattern applies to the path and matches it.
bool MatchesSpec(const CString& spec, bool isFile, const CString& full, const CString& name, bool ignoreCase)
{
    const bool dirSpec = PathText::IsSeparator(spec[spec.GetLength() - 1]);
    if (dirSpec == isFile)
        return false;
    const CString pattern = dirSpec ? PathText::WithoutTrailingSeparators(spec) : spec;
    if (pattern.IsEmpty() || (dirSpec && PathText::IsSeparator(pattern[pattern.GetLength() - 1])))
        return false;
    if (HasInnerSeparator(pattern))
        return FileUtils::MatchWildcard(full, pattern, ignoreCase);
    if (pattern == "*.*")
        return true;
    return FileUtils::MatchWildcard(name, pattern, ignoreCase);
}

bool MatchesAny(const std::vector<CString>& specs, bool isFile, const CString& full, const CString& name,
                bool ignoreCase)
{
    for (const CString& spec : specs)
        if (MatchesSpec(spec, isFile, full, name, ignoreCase))
            return true;
    return false;
}

char Fold(char c, bool ignoreCase)
{
    if (c == '/')
        return '\\';
    if (!ignoreCase)
        return c;
    // Upper case as the system's code page has it, so that accented letters fold too.
    char buffer[2] = {c, 0};
    ::CharUpperBuffA(buffer, 1);
    return buffer[0];
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
    DWORD code = 0;
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
    if (PathText::Length(path) == 0)
        return false;
    const CString full = PathText::WithoutTrailingSeparators(path);
    const CString name = PathText::LastComponent(full);
    std::vector<CString> includeSpecs, excludeSpecs;
    SplitSpecs(include, includeSpecs);
    SplitSpecs(exclude, excludeSpecs);
    if (!includeSpecs.empty() && !MatchesAny(includeSpecs, isFile, full, name, ignoreCase))
        return false;
    return !MatchesAny(excludeSpecs, isFile, full, name, ignoreCase);
}

bool FileUtils::MatchWildcard(const char* text, const char* pattern, bool ignoreCase)
{
    if (!text || !pattern)
        return false;
    // Greedy scan that returns to the last '*' on a mismatch: linear for one star, and never
    // worse than text length times pattern length.
    const char* star = nullptr;
    const char* resume = nullptr;
    while (*text)
    {
        if (*pattern == '*')
        {
            star = pattern++;
            resume = text;
        }
        else if (*pattern && (*pattern == '?' || Fold(*pattern, ignoreCase) == Fold(*text, ignoreCase)))
        {
            ++pattern;
            ++text;
        }
        else if (star)
        {
            pattern = star + 1;
            text = ++resume;
        }
        else
            return false;
    }
    while (*pattern == '*')
        ++pattern;
    return *pattern == 0;
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
        if (!PathText::IsSeparator(base[base.GetLength() - 1]))
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
