// Helpers of the utility library's tests: text lists, a private temporary folder per test that is
// removed with everything in it, whole-file reads and writes, bytes that deflate cannot shrink,
// and a child process under another code page.
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

// Deterministic bytes that deflate cannot shrink.
inline std::string NoiseBytes(size_t n)
{
    std::string bytes(n, '\0');
    unsigned long long x = 0x9E3779B97F4A7C15ull;
    for (size_t i = 0; i < n; ++i)
    {
        x ^= x << 13;
        x ^= x >> 7;
        x ^= x << 17;
        bytes[i] = static_cast<char>(x >> 56);
    }
    return bytes;
}

// The exit code of a child command run under the code page of a locale ("ja-JP": 932), or -1 if
// it did not end in time: a copy of the child program runs beside a manifest that asks for that
// code page (honoured from Windows 11 on). It finds the libraries in its current directory, the
// program's own.
inline long RunInCodePage(const char* locale, const std::vector<std::string>& args)
{
    TempDir dir("cp");
    const std::string exe = dir / "child.exe";
    const std::string manifest =
        std::string("<assembly manifestVersion=\"1.0\" xmlns=\"urn:schemas-microsoft-com:asm.v1\">"
                    "<assemblyIdentity type=\"win32\" name=\"weft.child\" version=\"1.0.0.0\"/>"
                    "<application xmlns=\"urn:schemas-microsoft-com:asm.v3\"><windowsSettings><activeCodePage "
                    "xmlns=\"http://schemas.microsoft.com/SMI/2019/WindowsSettings\">") +
        locale + "</activeCodePage></windowsSettings></application></assembly>";
    if (!CopyFileA((ExeDir() + "weft_testchild.exe").c_str(), exe.c_str(), FALSE) ||
        !WriteBytes(exe + ".manifest", manifest))
        return -2;
    ChildProcess child(exe, args);
    return child.Started() ? child.WaitExit(MustHappenMs()) : -3;
}
}  // namespace weft::test
