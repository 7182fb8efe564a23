// The utility library against the raw calls it wraps: existence of a file, a registry value
// as text. The zip writer has its own benchmark, ZipBench.
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
}  // namespace

int main()
{
    const std::string dir = TempFolder();
    DirUtils::CreateDirectoryPath(dir.c_str());
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

    DirUtils::DeleteDirectory(dir.c_str(), 0, nullptr, nullptr, nullptr);
    return 0;
}
