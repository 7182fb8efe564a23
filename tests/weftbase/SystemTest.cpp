// The utility library and the system: registry, shared logs, debugger output, launches, volumes, code pages.
#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <source_location>

using namespace weft::test;

namespace
{
// A private key below HKCU\Software, removed with all below it even when a test fails.
struct TestKey
{
    const std::string path = "Software\\" + UniqueName("reg");
    HKEY key = nullptr;
    TestKey() { RegCreateKeyExA(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, 0); }
    ~TestKey() { RegCloseKey(key), RegDeleteTreeA(HKEY_CURRENT_USER, path.c_str()); }
    bool Set(const char* sub, const char* name, DWORD type, const std::string& data) const
    {
        return RegSetKeyValueA(key, sub, name, type, data.data(), static_cast<DWORD>(data.size())) == ERROR_SUCCESS;
    }
    CString Value(const char* name, bool expand = false) const
    {
        return RegistryUtils::GetKeyValue(HKEY_CURRENT_USER, path.c_str(), name, expand);
    }
};

// What the library hands to OutputDebugStringA while the stand-in takes its place.
std::vector<std::string> g_debugLines;
void WINAPI CatchDebugOutput(const char* text)
{
    g_debugLines.emplace_back(text);
}

// The library's RegOpenKeyExA: a key named "gone" goes as it is opened, as if removed after its parent's listing.
LSTATUS WINAPI OpenGone(HKEY root, const char* path, DWORD options, REGSAM access, HKEY* key)
{
    if (path != nullptr && std::string(path).ends_with("\\gone"))
        RegDeleteKeyA(root, path);
    return RegOpenKeyExA(root, path, options, access, key);
}
}  // namespace

// Each type has its text; the one-pass listing gives each name with its text, expanded when asked.
// A recursive listing of keys gives full paths below the root, each key before its children.
TEST(RegistryUtilsTest, EveryValueTypeComesAsTextAndEveryNameIsListed)
{
    const TestKey root;
    for (const char* sub : {"A\\A1\\A1x", "A\\A2", "B"})
        ASSERT_TRUE(root.Set(sub, "", REG_SZ, std::string("", 1)));
    ASSERT_FALSE(RegSetKeyValueW(root.key, L"\u4e00", nullptr, REG_SZ, L"", 2));  // as "?": left out and counted
    TextArray keys = Texts({"stale"});
    unsigned long leftOut = 9;
    const std::string k = root.path + "\\";  // the trailing '\' is no part of the paths listed
    ASSERT_TRUE(RegistryUtils::GetSubKeys(HKEY_CURRENT_USER, k.c_str(), keys, true, &leftOut));
    EXPECT_EQ(k + "A|" + k + "A\\A1|" + k + "A\\A1\\A1x|" + k + "A\\A2|" + k + "B|1",
              Join(keys) + std::to_string(leftOut));
    ASSERT_TRUE(RegistryUtils::GetSubKeys(HKEY_CURRENT_USER, root.path.c_str(), keys, false));
    EXPECT_EQ(k + "A|" + k + "B|", Join(keys));
    EXPECT_FALSE(RegistryUtils::GetSubKeys(root.key, "none", keys, true, &leftOut) || keys.GetCount() || leftOut);
    ASSERT_TRUE(root.Set("B\\gone", "", REG_SZ, std::string("", 1)));
    ASSERT_TRUE(StandIn("RegOpenKeyExA", &OpenGone, true, "weftbase.dll", "advapi32.dll"));
    EXPECT_TRUE(RegistryUtils::GetSubKeys(HKEY_CURRENT_USER, (k + "B").c_str(), keys, true)) << "a key gone is no loss";
    StandIn("RegOpenKeyExA", &OpenGone, false, "weftbase.dll", "advapi32.dll");
    const std::tuple<const char*, DWORD, std::string, const char*> cases[] = {
        {"", REG_SZ, std::string("default", 8), "default"}, {"noterminator", REG_SZ, "abc", "abc"},
        {"expand", REG_EXPAND_SZ, std::string("%SystemRoot%\\x", 15), "%SystemRoot%\\x"},
        {"multi", REG_MULTI_SZ, std::string("one\0two\0\0three\0", 16), "one\ntwo"},  // "" ends the list
        {"dword", REG_DWORD, std::string(4, '\xff'), "4294967295"}, {"long", REG_SZ, std::string(100000, 'v'), nullptr},
        {"bigendian", REG_DWORD_BIG_ENDIAN, "\1\2\3\4", "16909060"}, {"empty", REG_SZ, std::string("", 1), ""},
        {"qword", REG_QWORD, std::string(8, '\xff'), "18446744073709551615"},
        {"binary", REG_BINARY, std::string("\0\n\xff\x10", 4), "00 0a ff 10"},
        {"caf\xe9", REG_SZ, "\xe4\xf6\xfc", "\xe4\xf6\xfc"},  // read wide, as the code page has them
        {"short", REG_DWORD, "\x01\x02\x03", "01 02 03"}, {"inner", REG_SZ, std::string("ab\0cd", 6), "ab"},
    };
    CString typed("stale");  // each read replaces it
    unsigned long kind = 0;
    for (const auto& [name, type, data, text] : cases)
    {
        ASSERT_TRUE(root.Set("", name, type, data)) << name;
        EXPECT_TRUE(RegistryUtils::GetKeyValue(HKEY_CURRENT_USER, root.path.c_str(), name, false, typed, kind) &&
                    kind == type && typed == root.Value(name));
        EXPECT_EQ(CString(text ? text : data.c_str()), root.Value(name)) << name;
    }
    EXPECT_TRUE(root.Value("missing").IsEmpty() &&
                !RegistryUtils::GetKeyValue(HKEY_CURRENT_USER, root.path.c_str(), "missing", false, typed, kind) &&
                !RegistryUtils::GetKeyValue(HKEY_CURRENT_USER, (k + "none").c_str(), "x", false, typed, kind));
    EXPECT_TRUE(RegistryUtils::FormatValue(REG_SZ, nullptr, 8, false).IsEmpty()) << "no data, whatever its size";
    char expanded[MAX_PATH] = {};
    ExpandEnvironmentStringsA("%SystemRoot%\\x", expanded, MAX_PATH);
    EXPECT_EQ(CString(expanded), root.Value("expand", true));
    // U+4E00 reads as "?", the name of another value: it is left out and counted.
    ASSERT_TRUE(!RegSetKeyValueW(root.key, nullptr, L"\u4e00", REG_SZ, L"x", 4) &&
                !RegSetKeyValueW(root.key, nullptr, L"?", REG_SZ, L"q", 4));
    TextArray names, texts, alone;  // alone: the names without their texts
    ASSERT_TRUE(RegistryUtils::GetKeyValueTexts(HKEY_CURRENT_USER, root.path.c_str(), names, texts, true, &leftOut));
    ASSERT_EQ(std::size(cases) + 1, names.GetCount());
    EXPECT_TRUE(RegistryUtils::GetKeyValues(HKEY_CURRENT_USER, root.path.c_str(), alone, &leftOut) &&
                Join(alone) == Join(names) && leftOut == 1);
    EXPECT_TRUE(RegistryUtils::GetKeyValues(HKEY_CURRENT_USER, root.path.c_str(), alone, nullptr) &&
                !RegistryUtils::GetKeyValues(HKEY_CURRENT_USER, (k + "none").c_str(), alone)) << "no count; no key";
    for (unsigned long long i = 0; i < names.GetCount(); ++i)
        EXPECT_EQ(root.Value(names.GetCopyAt(i), true), texts.GetCopyAt(i)) << names.GetCopyAt(i);
    EXPECT_TRUE(RegistryUtils::GetKeyValueTexts(root.key, "A", names, texts, false) && !names.GetCount());  // no values
}

// A line is its (stamped) text and CR LF, appended and readable at once; a file that cannot open takes none.
TEST(AppLoggerTest, EachLineIsAppendedWholeAlsoFromProcessesSharingTheFile)
{
    TempDir dir("log");
    const std::string path = dir / "app.log";
    ASSERT_TRUE(WriteBytes(path, "existing\r\n"));
    AppLogger log(path.c_str());
    EXPECT_TRUE(log.AddLine("{D4E5489A-8B06-4535-8D48-8A72C172B127}") && log.AddLine(""));
    EXPECT_EQ("existing\r\n{D4E5489A-8B06-4535-8D48-8A72C172B127}\r\n\r\n", ReadBytes(path));
    AppLogger stamped(path.c_str(), true), missing((dir / "missing\\x.log").c_str()), unnamed("");
    SetLastError(1234);  // kept through the write
    EXPECT_TRUE(stamped.AddLine("t") && GetLastError() == 1234 && stamped.IsOpen() &&
                stamped.GetStatus() == 0 && stamped.GetPath() == path.c_str());
    const std::regex stamp("[\\s\\S]*\r\n\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} t\r\n");
    EXPECT_TRUE(std::regex_match(ReadBytes(path), stamp)) << ReadBytes(path);
    EXPECT_TRUE(!missing.AddLine("lost") && !missing.IsOpen() && missing.GetStatus() == ERROR_PATH_NOT_FOUND);
    EXPECT_TRUE(!unnamed.AddLine("lost") && unnamed.GetStatus() == ERROR_INVALID_PARAMETER);
    // Three processes write another file at once, released together from a gate: every line arrives whole.
    const std::string shared = dir / "shared.log", gate = UniqueName("log");
    constexpr int lines = 2000;
    MTEvent open(true, false, gate.c_str());
    MTSemaphore ready(0, 3, (gate + ".ready").c_str());
    const char* tags[] = {"first", "second", "third"};
    ChildGroup children;
    for (const char* tag : tags)
        children.Start({"log-lines", shared, tag, std::to_string(lines), gate});
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(WAIT_OBJECT_0, ready.Wait(MustHappenMs()));
    open.Set();
    ASSERT_TRUE(children.WaitAll(Scaled(60000)));
    std::multiset<std::string> expected, got;
    for (const char* tag : tags)
        for (int i = 0; i < lines; ++i)
            expected.insert(std::string(tag) + " line " + std::to_string(1000 + i) + "\r\n");
    const std::string all = ReadBytes(shared);
    for (size_t at = 0, end; at < all.size(); at = end)
        got.insert(all.substr(at, (end = std::min(all.find("\r\n", at), all.size() - 2) + 2) - at));
    EXPECT_TRUE(expected == got) << got.size() << " lines of " << expected.size();
}

// The child's "double-byte-checks", run from a copy beside a manifest that asks for code page 932.
TEST(CodePageTest, DoubleByteNamesAreSplitByCharacterAndLongKeyNamesAreWalked)
{
    const std::string key = "Software\\" + UniqueName("cp932");
    TempDir dir("cp");
    const std::string exe = dir / "child.exe";
    ASSERT_TRUE(CopyFileA((ExeDir() + "weft_testchild.exe").c_str(), exe.c_str(), FALSE));
    ASSERT_TRUE(WriteBytes(
        exe + ".manifest",
        "<assembly manifestVersion=\"1.0\" xmlns=\"urn:schemas-microsoft-com:asm.v1\"><assemblyIdentity "
        "type=\"win32\" name=\"weft.child\" version=\"1.0.0.0\"/><application xmlns=\"urn:schemas-microsoft-com:"
        "asm.v3\"><windowsSettings><activeCodePage xmlns=\"http://schemas.microsoft.com/SMI/2019/WindowsSettings\">"
        "ja-JP</activeCodePage></windowsSettings></application></assembly>"));
    const long result = ChildProcess(exe, {"double-byte-checks", key}).WaitExit(MustHappenMs());
    RegDeleteTreeA(HKEY_CURRENT_USER, key.c_str());
    if (result == 77)
        GTEST_SKIP() << "this system does not run a program under the code page its manifest asks for";
    EXPECT_EQ(100, result) << "100: all checks hold; -1: no end in time; else failed checks";
}

// Each form writes "file(line): function", then its tail after ": ".
TEST(DebugUtilsTest, EachFormWritesItsPlaceAndItsTail)
{
    ASSERT_TRUE(StandIn("OutputDebugStringA", &CatchDebugOutput));
    const std::source_location here = std::source_location::current();
    DebugUtils::Trace(here), DebugUtils::Trace("WAIT_ABANDONED_0", here);
    DebugUtils::Trace(4294967295ull, "dwSignaled", here), DebugUtils::Trace("C:\\", "MSG_DCT_DRIVEADDED", here);
    StandIn("OutputDebugStringA", &CatchDebugOutput, false);
    const std::string at = here.file_name() + ("(" + std::to_string(here.line()) + "): ") + here.function_name();
    const std::vector<std::string> expected = {at + "\n", at + ": WAIT_ABANDONED_0\n",
                                               at + ": dwSignaled = 4294967295\n", at + ": C:\\: MSG_DCT_DRIVEADDED\n"};
    EXPECT_EQ(expected, g_debugLines);
}

// A drive's text is its volume GUID path; each "subst" drive gets a text of its own; a missing one none.
TEST(VolumeUtilsTest, EachDriveHasItsOwnVolumeGuidOrText)
{
    const DriveListTurn turn;  // the drives it defines would be told to a drive watcher
    EXPECT_EQ(0, VolumeUtils::GetVolumeGUID("C:\\").Find("\\\\?\\Volume{"));
    for (const auto& [path, root] : {std::pair{"C:\\windows\\x.txt", "C:\\"}, {"c", "c:\\"}, {"C:", "C:\\"}, {"", ""}})
        EXPECT_EQ(CString(root), VolumeUtils::GetVolumeRoot(path)) << path;
    EXPECT_EQ(VolumeUtils::GetVolumeRoot("."), VolumeUtils::GetVolumeRoot("x\\y"));  // relative: no letter
    TextArray drives;
    EXPECT_TRUE(VolumeUtils::GetDriveLetters(drives) && Join(drives).find("C:\\|") != std::string::npos)
        << Join(drives);
    std::string free;
    for (char c = 'Z'; c > 'C'; --c)
        if (!(GetLogicalDrives() & (1u << (c - 'A'))))
            free += c;
    if (free.size() < 2)
        GTEST_SKIP() << "fewer than two drive letters are free";
    const char first[3] = {free[0], ':', 0}, second[3] = {free[1], ':', 0};
    EXPECT_EQ(CString(), VolumeUtils::GetVolumeGUID(first));
    TempDir dir("vol");
    ASSERT_TRUE(DefineDosDeviceA(0, first, dir.Path().c_str()));
    const std::string target = "C:\\windows\\" + std::string(300, 'x');  // a target past MAX_PATH
    EXPECT_TRUE(DefineDosDeviceA(0, second, target.c_str()));
    const CString firstText = VolumeUtils::GetVolumeGUID(first), secondText = VolumeUtils::GetVolumeGUID(second);
    DefineDosDeviceA(DDD_REMOVE_DEFINITION | DDD_EXACT_MATCH_ON_REMOVE, first, dir.Path().c_str());
    DefineDosDeviceA(DDD_REMOVE_DEFINITION | DDD_EXACT_MATCH_ON_REMOVE, second, target.c_str());
    EXPECT_TRUE(firstText[0] == first[0] && secondText[0] == second[0] && firstText != secondText)
        << firstText.GetString() << secondText;
}
