// Trees that the job tests build in a private temporary folder.
#pragma once

#include "weftbase/WeftBaseTestFiles.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace weft::test
{
// Makes each path below the folder: a directory if it ends in '\', else a file holding its own
// name, with the directories above it.
inline void MakeTree(const std::string& root, std::initializer_list<std::string> paths)
{
    for (const std::string& p : paths)
    {
        DirUtils::CreateDirectoryPath(DirUtils::ParsePathFromFile((root + p).c_str()));
        if (p.back() != '\\')
            WriteBytes(root + p, p);
    }
}

// Every entry below path, depth first in the file system's order, each directory (with its
// trailing backslash) before its content.
inline void Walk(const std::string& path, std::vector<std::string>& out)
{
    WIN32_FIND_DATAA e;
    HANDLE find = FindFirstFileA((path + "*").c_str(), &e);
    if (find == INVALID_HANDLE_VALUE)
        return;
    do
    {
        const std::string name = e.cFileName, full = path + name + ((e.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) ? "\\" : "");
        if (name == "." || name == "..")
            continue;
        out.push_back(full);
        if (full.back() == '\\')
            Walk(full, out);
    } while (FindNextFileA(find, &e));
    FindClose(find);
}
}  // namespace weft::test
