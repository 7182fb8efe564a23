// The utility library against the raw calls it wraps: existence of a file, a registry value
// as text, a directory walk for a zip file against the same walk that only reads the files.
#include "support/BenchSupport.h"

#include "weftcore.h"

#include <cstdio>
#include <string>

using weft::bench::Compare;
using weft::bench::NowSeconds;
using weft::bench::Report;

namespace
{
std::string TempFolder()
{
    char base[MAX_PATH + 1] = {};
    GetTempPathA(MAX_PATH, base);
    char name[64];
    std::snprintf(name, sizeof name, "weft-bench-%lu\\", GetCurrentProcessId());
    return std::string(base) + name;
}

// Reads every file below dir once, as a zip writer must, without packing anything.
unsigned long long ReadTree(const std::string& dir)
{
    unsigned long long bytes = 0;
    WIN32_FIND_DATAA data;
    HANDLE find = FindFirstFileA((dir + "*.*").c_str(), &data);
    if (find == INVALID_HANDLE_VALUE)
        return 0;
    static char buffer[1 << 16];
    do
    {
        const std::string name = data.cFileName;
        if (name == "." || name == "..")
            continue;
        if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        {
            bytes += ReadTree(dir + name + "\\");
            continue;
        }
        HANDLE file =
            CreateFileA((dir + name).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
        DWORD got = 0;
        while (file != INVALID_HANDLE_VALUE && ReadFile(file, buffer, sizeof buffer, &got, nullptr) && got > 0)
            bytes += got;
        if (file != INVALID_HANDLE_VALUE)
            CloseHandle(file);
    } while (FindNextFileA(find, &data));
    FindClose(find);
    return bytes;
}
}  // namespace

int main()
{
    const std::string dir = TempFolder();
    DirUtils::CreateDirectoryPath((dir + "tree\\sub\\").c_str());
    const std::string file = dir + "probe.txt";
    HANDLE h = CreateFileA(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    CloseHandle(h);

    Report("DoesFileExist vs GetFileAttributesA",
           Compare(
               [&](int n) {
                   const double t = NowSeconds();
                   for (int i = 0; i < n; ++i)
                       GetFileAttributesA(file.c_str());
                   return NowSeconds() - t;
               },
               [&](int n) {
                   const double t = NowSeconds();
                   for (int i = 0; i < n; ++i)
                       FileUtils::DoesFileExist(file.c_str());
                   return NowSeconds() - t;
               },
               2000, 7),
           1.2);

    const char* key = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
    Report("GetKeyValue vs RegOpenKeyExA+RegQueryValueExA",
           Compare(
               [&](int n) {
                   const double t = NowSeconds();
                   for (int i = 0; i < n; ++i)
                   {
                       HKEY k = nullptr;
                       char value[256];
                       DWORD size = sizeof value, type = 0;
                       if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, key, 0, KEY_READ, &k) == ERROR_SUCCESS)
                       {
                           RegQueryValueExA(k, "ProductName", nullptr, &type, reinterpret_cast<BYTE*>(value), &size);
                           RegCloseKey(k);
                       }
                   }
                   return NowSeconds() - t;
               },
               [&](int n) {
                   const double t = NowSeconds();
                   for (int i = 0; i < n; ++i)
                       RegistryUtils::GetKeyValue(HKEY_LOCAL_MACHINE, key, "ProductName", false);
                   return NowSeconds() - t;
               },
               1000, 7),
           1.5);

    // 200 small text files: the zip writer's cost over reading the same files. Deflate itself
    // (about 0.1 ms for each 7 KB file here) is most of the difference.
    std::string text;
    for (int i = 0; i < 200; ++i)
        text += "line of text that compresses well " + std::to_string(i) + "\r\n";
    for (int i = 0; i < 200; ++i)
    {
        const std::string path = dir + (i % 2 ? "tree\\sub\\" : "tree\\") + "f" + std::to_string(i) + ".txt";
        HANDLE f = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        DWORD written = 0;
        WriteFile(f, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        CloseHandle(f);
    }
    const std::string zip = dir + "tree.zip";
    Report("DirUtils::CreateZipFile vs reading the tree",
           Compare(
               [&](int n) {
                   const double t = NowSeconds();
                   for (int i = 0; i < n; ++i)
                       ReadTree(dir + "tree\\");
                   return NowSeconds() - t;
               },
               [&](int n) {
                   const double t = NowSeconds();
                   for (int i = 0; i < n; ++i)
                       DirUtils::CreateZipFile(zip.c_str(), (dir + "tree").c_str(), "");
                   return NowSeconds() - t;
               },
               5, 9),
           5.0);

    DirUtils::DeleteDirectory(dir.c_str(), 0, nullptr, nullptr, nullptr);
    return 0;
}
