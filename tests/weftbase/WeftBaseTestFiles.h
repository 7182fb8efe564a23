// Helpers of the file tests: text lists, temporary folders, whole files, import stand-ins, noise.
#pragma once

#include "support/TestSupport.h"
#include "weftcore.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <random>
#include <tuple>
#include <utility>

namespace weft::test
{
inline TextArray Texts(std::initializer_list<std::string> texts)
{
    TextArray list;
    for (const std::string& t : texts)
        list.Add(t.c_str());
    return list;
}

// The texts of a list, each followed by "|".
inline std::string Join(const TextArray& list)
{
    std::string all;
    for (unsigned long long i = 0; i < list.GetCount(); ++i)
        all += std::string(list.GetCopyAt(i)) + "|";
    return all;
}

class TempDir
{
public:
    explicit TempDir(const char* tag)
    {
        char base[MAX_PATH + 1] = {};
        GetTempPathA(MAX_PATH, base);
        do m_path = std::string(base) + UniqueName(tag) + "\\";
        while (!CreateDirectoryA(m_path.c_str(), nullptr) && GetLastError() == ERROR_ALREADY_EXISTS);
    }
    ~TempDir()
    {
        const CString error = DirUtils::DeleteDirectory(m_path.c_str(), 0, nullptr, nullptr, nullptr);
        if (!error.IsEmpty() && DirUtils::DoesDirExist(m_path.c_str()))
            fprintf(stderr, "TempDir: %s\n", error.GetString());
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    // The folder, with its trailing backslash.
    const std::string& Path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + name; }

private:
    std::string m_path;
};

// Writes the whole file anew and closes it. The wide form names what the narrow calls cannot.
inline bool WriteBytes(const std::wstring& path, const std::string& bytes)
{
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    const bool ok =
        WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) && written == bytes.size();
    return CloseHandle(file) && ok;
}
inline bool WriteBytes(const std::string& path, const std::string& bytes)
{
    return WriteBytes(CodePageText::ToWide(path.c_str()), bytes);
}

// The whole file, also while another handle writes it; empty if it cannot be opened.
inline std::string ReadBytes(const std::string& path)
{
    HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                              nullptr, OPEN_EXISTING, 0, nullptr);
    std::string bytes;
    char buffer[65536];
    DWORD got = 0;
    while (ReadFile(file, buffer, sizeof buffer, &got, nullptr) && got > 0)
        bytes.append(buffer, got);
    CloseHandle(file);
    return bytes;
}

// The libraries' log, in a folder of its own, for the life of the object.
struct LibraryLog
{
    TempDir dir{"log"};
    AppLogger log{(dir / "log").c_str()};
    LibraryLog() { AppLogger::m_pInstance = &log; }
    ~LibraryLog() { AppLogger::m_pInstance = nullptr; }
    std::string Text() const { return ReadBytes(dir / "log"); }
};

inline bool Exists(const std::string& path)
{
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// Deterministic bytes that deflate cannot shrink.
inline std::string NoiseBytes(size_t n)
{
    std::string bytes(n, '\0');
    std::generate(bytes.begin(), bytes.end(), std::mt19937(7));
    return bytes;
}

// Sets the file's last write to the time given (UTC).
inline bool WrittenAt(const std::string& path, const SYSTEMTIME& at)
{
    FILETIME written = {};
    HANDLE file = CreateFileA(path.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_ALWAYS, 0, nullptr);
    const bool ok = SystemTimeToFileTime(&at, &written) && SetFileTime(file, nullptr, nullptr, &written);
    return CloseHandle(file) && ok;
}
}  // namespace weft::test
