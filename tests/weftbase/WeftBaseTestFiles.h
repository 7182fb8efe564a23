// Files and folders for the utility library's tests: a private temporary folder per test that is
// removed with everything in it, and whole-file reads and writes.
#pragma once

#include "support/TestSupport.h"
#include "weftcore.h"

#include <string>

namespace weft::test
{
class TempDir
{
public:
    explicit TempDir(const char* tag)
    {
        char base[MAX_PATH + 1] = {};
        GetTempPathA(MAX_PATH, base);
        m_path = std::string(base) + UniqueName(tag) + "\\";
        CreateDirectoryA(m_path.c_str(), nullptr);
    }
    ~TempDir()
    {
        if (DirUtils::DoesDirExist(m_path.c_str()))
        {
            const CString error = DirUtils::DeleteDirectory(m_path.c_str(), 0, nullptr, nullptr, nullptr);
            if (!error.IsEmpty())
                fprintf(stderr, "TempDir: %s\n", error.GetString());
        }
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    // The folder, with its trailing backslash.
    const std::string& Path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + name; }

private:
    std::string m_path;
};

inline bool WriteBytes(const std::string& path, const std::string& bytes)
{
    HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    DWORD written = 0;
    const bool ok = WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
                    written == bytes.size();
    CloseHandle(file);
    return ok;
}

inline std::string ReadBytes(const std::string& path)
{
    HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                              nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return std::string();
    std::string bytes;
    char buffer[65536];
    DWORD got = 0;
    while (ReadFile(file, buffer, sizeof buffer, &got, nullptr) && got > 0)
        bytes.append(buffer, got);
    CloseHandle(file);
    return bytes;
}

inline bool Exists(const std::string& path)
{
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}
}  // namespace weft::test
