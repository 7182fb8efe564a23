// The file-pattern test of FileUtils with its pattern lists read once, for a walk that tests many paths
// against the same lists. It gives the same answer as that test for every path.
//
//   FilePatternMatcher match(include, exclude, true);
//   if (match.Matches(dir, name, true))  // dir ends in a separator; as Matches(dir + name, true)
//       ...
#pragma once

#include "weftbase/TextArray.h"
#include "weftbase/WeftBaseApi.h"

#include <afx.h>

#include <vector>

class WEFTBASE_API FilePatternMatcher
{
public:
    // No patterns: every non-empty path matches.
    FilePatternMatcher();
    FilePatternMatcher(const TextArray& include, const TextArray& exclude, bool ignoreCase);

    // FileUtils::MatchFileSpec(path, isFile, include, exclude, ignoreCase).
    bool Matches(const char* path, bool isFile) const;
    // The same for the path dir + name, where dir ends in a separator (as DirUtils::
    // EnsureTrailingBackslash leaves it) and name is an entry's name. A plain name is matched
    // as it is; the two are joined only for a pattern with a separator inside, or for a name
    // that is not plain ASCII without separators.
    bool Matches(const CString& dir, const CString& name, bool isFile) const;

private:
    enum class Kind
    {
        Name,      // matched against the last component
        Path,      // a separator inside: matched against the whole path
        Everything // "*.*"
    };
    struct Pattern
    {
        CString text;
        Kind kind;
    };
    // The patterns of one list that apply to files [true] or to directories [false].
    struct List
    {
        std::vector<Pattern> patterns[2];
        bool usesPath[2] = {false, false};
    };

    // Whether any part was read, even one that applies to nothing.
    static bool Read(const TextArray& texts, List& list);
    // full (the path without trailing separators) is read only by a pattern with a separator
    // inside; name is its last component.
    bool Judge(bool isFile, const char* full, const char* name) const;
    bool MatchesAny(const List& list, bool isFile, const char* full, const char* name) const;

    List m_include;
    List m_exclude;
    bool m_bHasInclude = false;  // any include pattern at all, whether it applies to files or directories
    bool m_bIgnoreCase = true;
};
