#include "weftbase/DirUtils.h"

#include "weftbase/PathText.h"
#include "weftbase/SystemUtils.h"
#include "weftbase/ZipWriter.h"

namespace
{
constexpr DWORD ProtectedAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;

bool IsLetter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// "C:\", "C:", "\", "\\server\share\" and the like: places that must never be emptied.
bool IsRoot(const CString& path)
{
    CString p = PathText::WithoutTrailingSeparators(path);
    bool separatorsOnly = true;
    for (int i = 0; i < p.GetLength(); ++i)
        separatorsOnly = separatorsOnly && PathText::IsSeparator(p[i]);
    if (separatorsOnly)
        return true;
    if (p.GetLength() == 2 && p[1] == ':')
        return true;
    if (p.Left(4) == "\\\\?\\")
        p = p.Mid(4);
    if (p.GetLength() == 2 && p[1] == ':')
        return true;
    if (p.GetLength() > 2 && PathText::IsSeparator(p[0]) && PathText::IsSeparator(p[1]))
    {
        // \\server\share: a root when there is at most one separator after the server.
        int separators = 0;
        for (int at = PathText::FindChar(p, "\\/", 2); at >= 0; at = PathText::FindChar(p, "\\/", at + 1))
            ++separators;
        return separators <= 1;
    }
    return false;
}

// The path without its trailing separators, for the calls that name a directory itself.
std::wstring WithoutTrailingSeparators(std::wstring path)
{
    while (!path.empty() && (path.back() == L'\\' || path.back() == L'/'))
        path.pop_back();
    return path;
}

// Deletion works on the extended wide form of each path, so a tree is reached at any depth and
// with names outside the code page; failures name the path as the caller gave it.
struct DeleteRun
{
    DeleteRun(unsigned long flagsIn, HANDLE hStopIn) : flags(flagsIn), hStop(hStopIn) {}

    unsigned long flags;
    HANDLE hStop;
    unsigned long long files = 0;
    unsigned long long dirs = 0;
    CString error;
    bool stopped = false;

    void Fail(const CString& shown, DWORD code)
    {
        if (error.IsEmpty())
            error = shown + ": " + SystemUtils::GetLastError(code);
    }
    bool StopAsked()
    {
        if (!stopped && hStop && ::WaitForSingleObject(hStop, 0) == WAIT_OBJECT_0)
            stopped = true;
        return stopped;
    }
    // Clears the attributes that stand in the way, or says that the item is to stay.
    bool Unprotect(const std::wstring& path, const CString& shown, DWORD attributes)
    {
        if (!(attributes & ProtectedAttributes))
            return true;
        if (flags & DirUtils::DeleteSafe)
        {
            Fail(shown, ERROR_ACCESS_DENIED);
            return false;
        }
        return ::SetFileAttributesW(path.c_str(), (attributes & ~ProtectedAttributes) | FILE_ATTRIBUTE_NORMAL) ||
               (Fail(shown, ::GetLastError()), false);
    }
    // Empties dir (ending in a separator). True if it is empty afterwards.
    bool Empty(const std::wstring& dir, const CString& shown)
    {
        WIN32_FIND_DATAW data;
        HANDLE find = ::FindFirstFileW((dir + L"*").c_str(), &data);
        if (find == INVALID_HANDLE_VALUE)
        {
            Fail(shown, ::GetLastError());
            return false;
        }
        bool empty = true;
        do
        {
            if (StopAsked())
            {
                empty = false;
                break;
            }
            const std::wstring name(data.cFileName);
            if (name == L"." || name == L"..")
                continue;
            const std::wstring full = dir + name;
            const CString fullShown = shown + PathText::Narrow(name);
            if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
            {
                // A link is removed as a link; only a real directory is emptied first.
                const bool link = (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
                if (!link && !Empty(full + L"\\", fullShown + "\\"))
                {
                    empty = false;
                    continue;
                }
                if (!Unprotect(full, fullShown, data.dwFileAttributes) || !Remove(full, fullShown))
                    empty = false;
            }
            else if (!Unprotect(full, fullShown, data.dwFileAttributes) || !DeleteOne(full, fullShown))
                empty = false;
        } while (::FindNextFileW(find, &data));
        ::FindClose(find);
        return empty;
    }
    bool Remove(const std::wstring& dir, const CString& shown)
    {
        if (!::RemoveDirectoryW(dir.c_str()))
        {
            Fail(shown, ::GetLastError());
            return false;
        }
        ++dirs;
        return true;
    }
    bool DeleteOne(const std::wstring& file, const CString& shown)
    {
        if (!::DeleteFileW(file.c_str()))
        {
            Fail(shown, ::GetLastError());
            return false;
        }
        ++files;
        return true;
    }
};
}  // namespace

bool DirUtils::IsDir(const char* path, bool formOnly)
{
    if (!formOnly)
        return DoesDirExist(path);
    // Any path the system takes may name a directory; MaxDirPathLength only bounds a new one.
    if (!PathText::FitsLimit(path))
        return false;
    const CString text(path);
    CString blank(text);
    if (blank.Trim().IsEmpty())
        return false;
    // A leading "\\?\" is the platform's own prefix; its '?' is no wildcard.
    const char* begin = text.GetString();
    const char* start = text.Left(4) == "\\\\?\\" ? begin + 4 : begin;
    for (const char* p = start; *p; p = ::CharNextA(p))
    {
        // A double-byte character is a name character, whatever its second byte.
        if (::IsDBCSLeadByte(static_cast<BYTE>(*p)))
            continue;
        const unsigned char c = static_cast<unsigned char>(*p);
        if (c < 32 || c == '<' || c == '>' || c == '"' || c == '|' || c == '?' || c == '*')
            return false;
        if (c == ':' && !(p == start + 1 && IsLetter(*start)))
            return false;
    }
    return true;
}

bool DirUtils::DoesDirExist(const char* path)
{
    if (!PathText::FitsLimit(path))
        return false;
    const DWORD attributes = ::GetFileAttributesA(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

void DirUtils::EnsureTrailingBackslash(CString& path)
{
    if (path.IsEmpty())
        return;
    const CString trimmed = PathText::WithoutTrailingSeparators(path);
    // A path of separators only ("\", "\\") is left as it is.
    if (!PathText::EndsWithSeparator(trimmed))
        path = trimmed + "\\";
}

CString DirUtils::ParseParentDir(const char* path)
{
    const CString item = PathText::WithoutTrailingSeparators(path);
    if (item.IsEmpty() || PathText::EndsWithSeparator(item))
        return CString();
    if (item.GetLength() == 2 && item[1] == ':')
        return CString();
    const int cut = PathText::LastSeparator(item);
    if (cut < 0)
        return item.GetLength() > 2 && item[1] == ':' ? item.Left(2) : CString();
    CString parent = item.Left(cut + 1);
    // "\\server\share" has no parent that could be tested for existence.
    if (parent.GetLength() == 2 && PathText::IsSeparator(parent[0]))
        return CString();
    return parent;
}

CString DirUtils::ParsePathFromFile(const char* path)
{
    const CString text(path);
    const int cut = PathText::LastSeparator(text);
    if (cut >= 0)
        return text.Left(cut + 1);
    if (text.GetLength() >= 2 && text[1] == ':')
        return text.Left(2);
    return CString();
}

bool DirUtils::CreateDirectoryPath(const char* path)
{
    if (!IsDir(path, true))
        return false;
    if (DoesDirExist(path))
        return true;
    const CString parent = ParseParentDir(path);
    if (!parent.IsEmpty() && !DoesDirExist(parent) && !CreateDirectoryPath(parent))
        return false;
    return ::CreateDirectoryA(path, nullptr) || DoesDirExist(path);
}

CString DirUtils::DeleteDirectory(const char* path, unsigned long flags, HANDLE hStop, unsigned long long* pFiles,
                                  unsigned long long* pDirs)
{
    DeleteRun run(flags, hStop);
    const CString dir(path);
    if (dir.IsEmpty())
        run.Fail(dir, ERROR_INVALID_PARAMETER);
    else if (!PathText::FitsLimit(path))
        run.Fail(dir, ERROR_FILENAME_EXCED_RANGE);
    else if (IsRoot(dir) || IsRoot(PathText::FullPath(dir)))
        run.Fail(dir, ERROR_ACCESS_DENIED);  // also names that resolve to a root, such as C:\dir\..
    else
    {
        const DWORD attributes = ::GetFileAttributesA(dir);
        if (attributes == INVALID_FILE_ATTRIBUTES)
            run.Fail(dir, ::GetLastError());
        else if (!(attributes & FILE_ATTRIBUTE_DIRECTORY))
            run.Fail(dir, ERROR_DIRECTORY);
        else
        {
            CString shown(dir);
            EnsureTrailingBackslash(shown);
            const std::wstring self = WithoutTrailingSeparators(PathText::Extended(PathText::Wide(dir)));
            const bool link = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
            const bool empty = link || run.Empty(self + L"\\", shown);
            const CString selfShown = PathText::WithoutTrailingSeparators(dir);
            if (empty && !(flags & DeleteContentsOnly) && run.Unprotect(self, selfShown, attributes))
                run.Remove(self, selfShown);
        }
    }
    if (run.stopped && run.error.IsEmpty())
        run.Fail(dir, ERROR_OPERATION_ABORTED);
    if (pFiles)
        *pFiles = run.files;
    if (pDirs)
        *pDirs = run.dirs;
    return run.error;
}

bool DirUtils::CreateZipFile(const char* output, const char* dir, const char* rootInArchive)
{
    if (!DoesDirExist(dir))
        return false;
    ZipWriter zip(output);
    if (!zip.IsOpen())
        return false;
    const std::wstring inside = WithoutTrailingSeparators(PathText::Extended(PathText::Wide(dir))) + L"\\";
    std::wstring prefix = WithoutTrailingSeparators(PathText::Wide(rootInArchive));
    bool ok = true;
    if (!prefix.empty())
    {
        ok = zip.AddDirectoryEntry(inside, prefix);
        prefix += L'/';
    }
    ok = zip.AddTree(inside, prefix) && ok;
    return zip.Finish() && ok;
}
