// Directories: tests of form and existence, path texts, deletion of trees, zip archives of trees.
//
// Paths as in FileUtils: narrow texts in the system code page, '\' or '/' between components.
// A directory path may come with or without its trailing backslash. Paths given longer than 259
// characters fail wherever they reach the system; the trees below them are walked (deleted,
// packed) at any depth and with names outside the code page. All operations may be called from
// any thread.
#pragma once

#include "weftbase/WeftBaseApi.h"

#include <afx.h>

class WEFTBASE_API DirUtils
{
public:
    // Longest path of a directory that can be created: the platform keeps room for an 8.3 name.
    static constexpr int MaxDirPathLength = MAX_PATH - 12;

    // Flags of DeleteDirectory.
    enum DeleteFlags : unsigned long
    {
        // Read-only, hidden and system files and directories are left in place, and so are the
        // directories that hold them; without it their attributes are cleared and they go too.
        DeleteSafe = 1,
        // The directory itself stays, emptied.
        DeleteContentsOnly = 2,
    };

    // formOnly true: whether the text has the form of a directory path, without looking at the
    // disk: not blank, at most 259 characters, no control character and none of < > " | ? *,
    // and ':' only behind a leading drive letter. Callers test this before DoesDirExist.
    // formOnly false: whether the path names an existing directory, as opposed to a file or
    // nothing (the same answer as DoesDirExist).
    static bool IsDir(const char* path, bool formOnly);
    // True if the path names an existing directory ("C:\" and "C:\dir\" included).
    static bool DoesDirExist(const char* path);

    // Ends the path in exactly one backslash: a run of trailing '\' or '/' becomes one '\', and one
    // is added if there is none. The empty text stays empty.
    static void EnsureTrailingBackslash(CString& path);
    // The directory that holds the item at the path, with its trailing backslash: "C:\a\" for
    // "C:\a\b.txt" and for "C:\a\b\". The empty text if the path names no parent ("C:\", "b.txt").
    static CString ParseParentDir(const char* path);
    // The path up to and including its last separator: "C:\a\" for "C:\a\b.txt", the path itself
    // for "C:\a\b\", "C:" for "C:b.txt", and the empty text for a bare name.
    static CString ParsePathFromFile(const char* path);

    // Creates the directory and any missing parents. True if it exists afterwards.
    static bool CreateDirectoryPath(const char* path);

    // Deletes the directory and its whole tree; flags as above. A junction or directory link in
    // the tree is removed as a link: what it points to is never entered. Each directory is opened
    // once and held, closed to renaming and deletion by others, from its listing to its removal;
    // it is entered only if that handle says it is no link, so a directory replaced by a junction
    // after its parent's listing is not entered either. Any depth: the walk keeps its own stack.
    // hStop, if not null, is an event that stops the deletion between two entries (the text then
    // tells of an aborted operation). pFiles and pDirs, if not null, get the number of files and
    // directories deleted. Gives the empty text on full success, else "<path>: <system text>" of
    // the first failure; the deletion goes on past a failure. Drive, share and volume roots are
    // refused (access denied), also in their device forms: "C:\", "\\server\share", "\\?\C:\", "\\.\C:\",
    // "\\?\UNC\server\share", "\\?\Volume{...}\", "\\?\GLOBALROOT\Device\HarddiskVolume1\".
    static CString DeleteDirectory(const char* path, unsigned long flags, HANDLE hStop,
                                   unsigned long long* pFiles, unsigned long long* pDirs);

    // Writes a zip archive of everything below dir to output, replacing any file there only
    // when the archive is complete. rootInArchive, if not empty, is a folder name that every
    // entry is placed under ("project" gives "project/", "project/a.txt"); the empty text puts
    // the entries at the top of the archive.
    // Form of the archive: standard zip; each file deflated (zlib), or stored when deflate does not
    // make it smaller, an empty file stored; an entry for every directory, so empty ones survive;
    // times are the last-write times in local time, in the MS-DOS form (2-second steps,
    // 1980 to 2107); names in UTF-8, flagged as such when not plain ASCII; DOS attributes; ZIP64
    // records for an entry of 4 GiB or more, past 4 GiB of archive, and past 65,534 entries.
    // Junctions and directory links are stored as empty directories, and the output file itself
    // is left out when it lies in the tree. An empty directory gives an archive with no entries.
    // True if every file was packed; an unreadable item is left out and makes the result false,
    // the rest still being written. A missing dir gives false and leaves output alone.
    static bool CreateZipFile(const char* output, const char* dir, const char* rootInArchive);
};
