// Helpers of the utility library's tests: text lists, a private temporary folder per test that is
// removed with everything in it, whole-file reads and writes, and decoding in another process.
#pragma once

#include "support/TestSupport.h"
#include "weftcore.h"

#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

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

// The exit code of a child that decodes the codes, 0 when it gets the text. The text goes as
// hexadecimal bytes, so that no character of it meets the quoting of a command line.
inline long DecodeInChild(const char* text, const std::vector<int>& codes)
{
    std::vector<std::string> args = {"decrypt-equals", ""};
    char two[3];
    for (const char* p = text; *p; ++p)
    {
        snprintf(two, sizeof two, "%02x", static_cast<unsigned char>(*p));
        args[1] += two;
    }
    for (int code : codes)
        args.push_back(std::to_string(code));
    ChildProcess child(args);
    return child.WaitExit(MustHappenMs());
}
}  // namespace weft::test
