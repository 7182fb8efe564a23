#include "weftbase/FilePatternMatcher.h"

#include "weftbase/FileUtils.h"
#include "weftbase/PathText.h"

namespace
{
// A name that is its own last component after any directory that ends in a separator: ASCII,
// so that every byte is a character, and no separator in it.
bool IsPlainName(const CString& name)
{
    if (name.IsEmpty())
        return false;
    for (const char* p = name.GetString(); *p; ++p)
        if (static_cast<unsigned char>(*p) >= 0x80 || PathText::IsSeparator(*p))
            return false;
    return true;
}
}  // namespace

FilePatternMatcher::FilePatternMatcher() = default;

FilePatternMatcher::FilePatternMatcher(const TextArray& include, const TextArray& exclude, bool ignoreCase)
    : m_bIgnoreCase(ignoreCase)
{
    m_bHasInclude = Read(include, m_include);
    Read(exclude, m_exclude);
}

bool FilePatternMatcher::Read(const TextArray& texts, List& list)
{
    bool any = false;
    // Each entry splits at ';', blanks around each part dropped.
    for (unsigned long long i = 0; i < texts.GetCount(); ++i)
    {
        const CString entry = texts.GetCopyAt(i);
        int start = 0;
        while (start <= entry.GetLength())
        {
            int end = PathText::FindChar(entry, ";", start);
            if (end < 0)
                end = entry.GetLength();
            CString part = entry.Mid(start, end - start);
            start = end + 1;
            part.Trim(" \t");
            if (part.IsEmpty())
                continue;
            any = true;
            // A pattern that ends in a separator is for directories; one of separators only
            // applies to nothing, though it still makes the list non-empty.
            const bool forDirs = PathText::EndsWithSeparator(part);
            const CString pattern = forDirs ? PathText::WithoutTrailingSeparators(part) : part;
            if (pattern.IsEmpty() || (forDirs && PathText::EndsWithSeparator(pattern)))
                continue;
            const bool whole = PathText::FindChar(pattern, "\\/") >= 0;
            const Kind kind = whole ? Kind::Path : pattern == "*.*" ? Kind::Everything : Kind::Name;
            const bool forFiles = !forDirs;
            list.patterns[forFiles].push_back({pattern, kind});
            list.usesPath[forFiles] = list.usesPath[forFiles] || whole;
        }
    }
    return any;
}

bool FilePatternMatcher::Judge(bool isFile, const char* full, const char* name) const
{
    if (m_bHasInclude && !MatchesAny(m_include, isFile, full, name))
        return false;
    return !MatchesAny(m_exclude, isFile, full, name);
}

bool FilePatternMatcher::MatchesAny(const List& list, bool isFile, const char* full, const char* name) const
{
    for (const Pattern& pattern : list.patterns[isFile])
    {
        if (pattern.kind == Kind::Everything)
            return true;
        if (FileUtils::MatchWildcard(pattern.kind == Kind::Path ? full : name, pattern.text, m_bIgnoreCase))
            return true;
    }
    return false;
}

bool FilePatternMatcher::Matches(const char* path, bool isFile) const
{
    if (PathText::Length(path) == 0)
        return false;
    const CString full = PathText::WithoutTrailingSeparators(path);
    return Judge(isFile, full, PathText::LastComponent(full));
}

bool FilePatternMatcher::Matches(const CString& dir, const CString& name, bool isFile) const
{
    if (!PathText::EndsWithSeparator(dir) || !IsPlainName(name))
        return Matches(dir + name, isFile);
    // dir + name has no trailing separator and name is its last component.
    if (m_include.usesPath[isFile] || m_exclude.usesPath[isFile])
        return Judge(isFile, dir + name, name);
    return Judge(isFile, nullptr, name);
}
