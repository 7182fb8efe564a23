#include "weftbase/DirUtils.h"

#include "weftbase/PathText.h"
#include "weftbase/SmartHANDLE.h"
#include "weftbase/SystemUtils.h"
#include "weftbase/ZipWriter.h"

#include <algorithm>
#include <cwchar>
#include <utility>
#include <vector>

namespace
{
constexpr DWORD ProtectedAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;

bool IsLetter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// The path without its trailing separators, for the calls that name a directory itself.
std::wstring WithoutTrailingSeparators(std::wstring path)
{
    while (!path.empty() && (path.back() == L'\\' || path.back() == L'/'))
        path.pop_back();
    return path;
}

// "C:\", "C:", "\", "\\server\share\" and their device forms ("\\?\C:\", "\\.\C:\",
// "\\?\UNC\server\share", "\\?\Volume{...}\", "\\?\GLOBALROOT\Device\HarddiskVolume1\"): places
// that must never be emptied. Tested on UTF-16, where no character hides a separator.
bool IsRoot(std::wstring p)
{
    p = WithoutTrailingSeparators(p);
    std::replace(p.begin(), p.end(), L'/', L'\\');
    const auto startsWith = [&p](const wchar_t* head) {
        const int n = static_cast<int>(std::wcslen(head));
        return p.size() >= size_t(n) && ::CompareStringOrdinal(p.c_str(), n, head, n, TRUE) == CSTR_EQUAL;
    };
    const auto separatorsFrom = [&p](size_t from) { return std::count(p.begin() + from, p.end(), L'\\'); };
    if (startsWith(L"\\\\.\\"))
        p[2] = L'?';  // one device namespace, two prefixes
    if (startsWith(L"\\\\?\\UNC\\"))
        p.erase(2, 6);  // "\\?\UNC\server\share" is "\\server\share"
    if (startsWith(L"\\\\?\\GLOBALROOT\\"))
        return separatorsFrom(15) <= 1;  // a device ("Device\HarddiskVolume1") or less
    if (startsWith(L"\\\\?\\"))
        return separatorsFrom(4) == 0;  // a drive or a volume ("C:", "Volume{...}")
    if (startsWith(L"\\\\"))
        return separatorsFrom(2) <= 1;  // a server or a share
    return p.empty() || (p.size() == 2 && p[1] == L':');
}

// A directory that is no junction or other link: the only kind a walk enters.
bool IsRealDirectory(DWORD attributes)
{
    return (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == FILE_ATTRIBUTE_DIRECTORY;
}

// A directory of a deletion, open from its listing until it is removed. The handle shares reading
// and writing but not deletion, so the directory cannot be renamed or replaced while it is held:
// what is emptied is what was checked and listed.
struct Folder
{
    struct Entry
    {
        std::wstring name;
        DWORD attributes;
    };
    Folder(std::wstring pathIn, const CString& shownIn) : path(std::move(pathIn)), shown(shownIn) {}

    std::wstring path;  // extended form, no trailing separator
    CString shown;      // as the caller gave it, no trailing separator
    SmartHANDLE handle;
    DWORD attributes = 0;
    std::vector<Entry> batch;  // listed and not yet taken
    size_t next = 0;
    bool empty = true;
};

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
    std::vector<LONGLONG> listing = std::vector<LONGLONG>(8192);  // 64 KB, aligned as the records need

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
    // Opens the directory or link at folder.path itself, never what a link leads to, and takes its
    // attributes from the open handle.
    bool Open(Folder& folder, const CString& shown)
    {
        folder.handle = ::CreateFileW(folder.path.c_str(), FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr);
        BY_HANDLE_FILE_INFORMATION info;
        if (!folder.handle.IsValid() || !::GetFileInformationByHandle(folder.handle, &info))
        {
            Fail(shown, ::GetLastError());
            return false;
        }
        folder.attributes = info.dwFileAttributes;
        return true;
    }
    // The folder's next entry but "." and "..", listed through its handle; false at the end.
    bool Next(Folder& folder, Folder::Entry& entry)
    {
        while (folder.next == folder.batch.size())
        {
            folder.batch.clear();
            folder.next = 0;
            const DWORD bytes = static_cast<DWORD>(listing.size() * sizeof(LONGLONG));
            if (!::GetFileInformationByHandleEx(folder.handle, FileIdBothDirectoryInfo, listing.data(), bytes))
            {
                const DWORD code = ::GetLastError();
                if (code != ERROR_NO_MORE_FILES)
                {
                    Fail(folder.shown, code);
                    folder.empty = false;
                }
                return false;
            }
            for (const BYTE* at = reinterpret_cast<const BYTE*>(listing.data());;)
            {
                const auto* info = reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(at);
                std::wstring name(info->FileName, info->FileNameLength / sizeof(wchar_t));
                if (name != L"." && name != L"..")
                    folder.batch.push_back({std::move(name), info->FileAttributes});
                if (info->NextEntryOffset == 0)
                    break;
                at += info->NextEntryOffset;
            }
        }
        entry = std::move(folder.batch[folder.next++]);
        return true;
    }
    // Empties the open folder. A directory below is entered only if its own handle, opened once and
    // held until it is removed, says it is no link; the open ones wait on a stack of their own, so
    // the thread's stack bounds no depth. True if the folder is empty afterwards.
    bool Empty(Folder& top)
    {
        std::vector<Folder> below;
        for (;;)
        {
            Folder& folder = below.empty() ? top : below.back();
            Folder::Entry entry;
            if (StopAsked())
                folder.empty = false;
            else if (Next(folder, entry))
            {
                Folder item(folder.path + L"\\" + entry.name, folder.shown + "\\" + PathText::Narrow(entry.name));
                item.attributes = entry.attributes;
                if (IsRealDirectory(entry.attributes) && !Open(item, item.shown))
                    folder.empty = false;
                else if (IsRealDirectory(item.attributes))
                    below.push_back(std::move(item));
                else if (!RemoveItem(item))
                    folder.empty = false;
                continue;
            }
            if (below.empty())
                return folder.empty;
            Folder done = std::move(folder);
            below.pop_back();
            Folder& parent = below.empty() ? top : below.back();
            parent.empty = done.empty && RemoveItem(done) && parent.empty;
        }
    }
    // Removes a file, an emptied directory, or a link as a link.
    bool RemoveItem(Folder& item)
    {
        item.handle.Close();
        return Unprotect(item.path, item.shown, item.attributes) &&
               ((item.attributes & FILE_ATTRIBUTE_DIRECTORY) ? Remove(item.path, item.shown)
                                                              : DeleteOne(item.path, item.shown));
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
    // "\\server\share" has no parent that could be tested for existence: "\\server\" is no folder.
    if (parent.GetLength() >= 2 && PathText::IsSeparator(parent[0]) && PathText::IsSeparator(parent[1]))
    {
        const int next = PathText::FindChar(parent, "\\/", 2);
        if (next == -1 || next == parent.GetLength() - 1)
            return CString();
    }
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
    else if (IsRoot(PathText::Wide(dir)) || IsRoot(PathText::Wide(PathText::FullPath(dir))))
        run.Fail(dir, ERROR_ACCESS_DENIED);  // also names that resolve to a root, such as C:\dir\..
    else
    {
        Folder top(WithoutTrailingSeparators(PathText::Extended(PathText::Wide(dir))),
                   PathText::WithoutTrailingSeparators(dir));
        top.attributes = ::GetFileAttributesA(dir);
        if (top.attributes == INVALID_FILE_ATTRIBUTES)
            run.Fail(dir, ::GetLastError());
        else if (!(top.attributes & FILE_ATTRIBUTE_DIRECTORY))
            run.Fail(dir, ERROR_DIRECTORY);
        // A link is removed as a link; a directory is emptied first, once its own handle says it is
        // no link either.
        else if (!IsRealDirectory(top.attributes) ||
                 (run.Open(top, dir) && (!IsRealDirectory(top.attributes) || run.Empty(top))))
        {
            top.handle.Close();
            if (!(flags & DeleteContentsOnly) && run.Unprotect(top.path, top.shown, top.attributes))
                run.Remove(top.path, top.shown);
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
    if (!prefix.empty())
    {
        zip.AddDirectoryEntry(inside, prefix);
        prefix += L'/';
    }
    zip.AddTree(inside, prefix);
    return zip.Finish();
}
