// The module frame: registered messages, the module's entry and static texts, the coded text tables.
#include "weftbase/WeftBaseTestFiles.h"

#include "module/CodedTexts.h"

#include <afxdllx.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace
{
int LinksOf(HMODULE module)  // The framework links of a module, counted in the chain of extension modules.
{
    AFX_MODULE_STATE* state = AfxGetModuleState();
    EnterCriticalSection(&state->m_lockLibraries);
    int n = 0;
    for (CDynLinkLibrary* link = state->m_pFirstLibrary; link; link = link->m_pNextDLL)
        n += link->m_hModule == module;
    LeaveCriticalSection(&state->m_lockLibraries);
    return n;
}

// A copy of weftcore.dll under another name in a folder of its own, unloaded before the folder goes.
struct ModuleCopy
{
    weft::test::TempDir dir{"module"};
    const std::string path = dir / "copy.dll";
    HMODULE module = nullptr;
    ~ModuleCopy() { if (module) FreeLibrary(module); }
};
}  // namespace

// The strings are the contract between processes: each message is the number of its own string.
TEST(ModuleFrameTest, EachMessageIsTheNumberOfItsString)
{
    const std::pair<const unsigned int*, const char*> messages[] = {
        {&ZipThread::MSG_ZIPTHREAD_DONE, "5F2D9B0E-3A42-46f4-9B58-DACF5E5CA5A0"},
        {&DrivesChangeThread::MSG_DCT_DRIVEADDED, "C60CDF6F-582F-409F-9145-0F9756CF8FC8"},
        {&DrivesChangeThread::MSG_DCT_DRIVECHANGED, "FC416357-3DE0-47C5-9C8F-45DD07D2DDD0"},
        {&DrivesChangeThread::MSG_DCT_DRIVEREMOVED, "1AB91673-9DA1-4E7D-B57A-15EB23484FB7"},
    };
    for (const auto& [member, text] : messages)
        EXPECT_EQ(RegisterWindowMessageA(text), *member) << text;
}

// A copy under another name is a module of its own: its entry links it into the framework's chain
// once at load and unlinks it at unload, and its static texts are built.
TEST(ModuleFrameTest, AModuleAttachesAndDetachesWithNoThreadObjectCreated)
{
    ModuleCopy copy;
    ASSERT_TRUE(CopyFileA((weft::test::ExeDir() + "weftcore.dll").c_str(), copy.path.c_str(), FALSE));
    HMODULE module = copy.module = LoadLibraryA(copy.path.c_str());
    ASSERT_NE(nullptr, module) << GetLastError();
    EXPECT_EQ(1, LinksOf(module));
    const auto* mask = reinterpret_cast<const CString*>(GetProcAddress(module, "_ZN13TextConstants12AllFilesMaskE"));
    ASSERT_NE(nullptr, mask);
    EXPECT_EQ(CString("*.*"), *mask);
    copy.module = nullptr;
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(0, LinksOf(module)) << "the detached module stayed in the chain";
}

// Every table decodes to printable text that fits where the library uses it: lead texts end in ": ",
// the registry prefix starts a key path, the extension and the strip text match what they meet.
TEST(CodedTextsTest, EveryTableDecodesToAPrintableTextThatFitsItsRole)
{
    using namespace CodedTexts;
    for (const std::vector<int>* table :
         {&RegBadKeyText, &RegLocalMachinePrefix, &RegErrorLeadText, &ShellEmptyFileText, &ShellArgumentExtension,
          &ShellTimeoutLeadText, &SingleInstanceStripText})
    {
        const CString text = StringUtils::DecryptText(*table);
        EXPECT_TRUE(!text.IsEmpty() && std::all_of(text.GetString(), text.GetString() + text.GetLength(),
                                                   [](char c) { return c >= 32 && c <= 126; }))
            << text.GetString();
    }
    EXPECT_EQ(CString(": "), StringUtils::DecryptText(RegErrorLeadText).Right(2));
    EXPECT_EQ(CString(": "), StringUtils::DecryptText(ShellTimeoutLeadText).Right(2));

    const CString prefix = StringUtils::DecryptText(RegLocalMachinePrefix);
    HKEY key = nullptr;  // the prefix leads to a key that every system has
    EXPECT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_LOCAL_MACHINE, prefix + "Microsoft", 0, KEY_READ, &key));
    RegCloseKey(key);
    const CString ext = StringUtils::DecryptText(ShellArgumentExtension);
    EXPECT_EQ(0, FileUtils::GetFileExt("C:\\Tools\\APP.EXE").CompareNoCase(ext)) << ext.GetString();
    CString name("C__Tools_My_App.exe");
    EXPECT_EQ(1, name.Replace(StringUtils::DecryptText(SingleInstanceStripText), ""));
    EXPECT_EQ(CString("C__Tools_My_App"), name);
}
