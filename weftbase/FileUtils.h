// Files: existence, deletion, names, size and date, wildcard matching, and zip archives of lists.
//
// Paths are narrow texts in the system code page, absolute or relative to the current directory,
// with '\' or '/' between components. A path longer than the platform's limit for files
// (MAX_PATH less the terminator, 259 characters) is refused cleanly: the operation fails with
// ERROR_FILENAME_EXCED_RANGE (206) and touches nothing. Null and empty paths fail the same way,
// with ERROR_INVALID_PARAMETER. All operations may be called from any thread.
#pragma once

#include "weftbase/DateTime.h"
#include "weftbase/TextArray.h"
#include "weftbase/WeftBaseApi.h"

#include <afx.h>

class WEFTBASE_API FileUtils
{
public:
    static constexpr int MaxPathLength = MAX_PATH - 1;

    // True if something exists at the path: a file or a directory.
    static bool DoesFileExist(const char* path);

    // Deletes one file. error gets the system's text of the failure, or is emptied on success.
    // force: a read-only, hidden or system file is deleted too (its attributes are cleared first,
    //        and put back if the deletion still fails).
    // retry: a file that another program holds open is tried again, for about a second, before
    //        the deletion counts as failed (sharing and lock violations only).
    // A missing file is a failure (ERROR_FILE_NOT_FOUND); so is a directory: see DirUtils.
    static bool DeleteFileA(const char* path, CString& error, bool force, bool retry);

    // The extension of the path's last component without its dot ("txt" for "C:\a\b.txt"),
    // or the empty text if that component has no dot or ends in one.
    static CString GetFileExt(const char* path);

    // Size and last-write time of a file (for a directory, size 0 and its time). True if the path
    // exists; otherwise size is 0, modified is unset, and the result is false.
    static bool GetFileInfoCore(const char* path, unsigned long long& size, DateTime& modified);

    // Whether a path passes two lists of wildcard patterns.
    //   include: the path matches if it matches one pattern of this list; an empty list
    //            (no pattern at all) includes every path.
    //   exclude: a path that matches one pattern of this list does not match, whatever
    //            include says.
    //   ignoreCase: letters compare without regard to case, as file names do on this platform.
    // Each entry of a list may hold several patterns separated by ';', blanks around them
    // ignored. In a pattern '*' stands for any run of characters, none included, and '?'
    // for exactly one; "*.*" stands for every name, with or without a dot, as on the command line.
    // A pattern that ends in '\' or '/' is for directories and applies only when isFile is
    // false ("obj\"); any other applies only when isFile is true ("*.cpp"). A pattern with
    // a separator inside ("*\obj\", "C:\src\*.h") is matched against the whole path, any other
    // against the last component alone. A directory path may come with or without its trailing
    // backslash. An empty path matches nothing.
    static bool MatchFileSpec(const char* path, bool isFile, const TextArray& include, const TextArray& exclude,
                              bool ignoreCase);
    // One wildcard pattern ('*', '?') against one text; '/' and '\' count as the same character.
    static bool MatchWildcard(const char* text, const char* pattern, bool ignoreCase);

    // The last component of the path ("b.txt" for "C:\a\b.txt"); withExtension false leaves the
    // extension and its dot out ("b"). A path that ends in a separator gives the empty text.
    static CString ParseFileNameFromPath(const char* path, bool withExtension);

    // Writes a zip archive of the listed files and directories to output, replacing any file
    // there only when the archive is complete. baseDir decides the names in the archive: an item
    // inside baseDir keeps its path relative to baseDir ("sub/x.txt"); any other item, and every
    // item when baseDir is empty, is stored under its last component. A listed directory is
    // packed with its whole tree, an empty directory as a directory entry. Two items that would
    // get one name are both kept, the later as "name (2).ext". See DirUtils::CreateZipFile for the
    // form of the archive. True if every item was packed. An item that cannot be read is left out
    // and makes the result false, but the archive of the rest is still written; a failure to
    // write the archive leaves output as it was. An empty list gives an archive with no entries.
    static bool CreateZipFile(const char* output, const TextArray& files, const char* baseDir);
};
