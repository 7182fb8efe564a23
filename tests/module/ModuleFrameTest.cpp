#include "support/TestSupport.h"
#include "weftcore.h"

#include <afxdllx.h>

#include <gtest/gtest.h>

#include <string>

namespace
{
struct Registered
{
    const unsigned int* member;
    const char* text;
    const char* symbol;  // the member's exported name
};

const Registered Messages[] = {
    {&ZipThread::MSG_ZIPTHREAD_DONE, "5F2D9B0E-3A42-46f4-9B58-DACF5E5CA5A0", "_ZN9ZipThread18MSG_ZIPTHREAD_DONEE"},
    {&DrivesChangeThread::MSG_DCT_DRIVEADDED, "C60CDF6F-582F-409F-9145-0F9756CF8FC8",
     "_ZN18DrivesChangeThread18MSG_DCT_DRIVEADDEDE"},
    {&DrivesChangeThread::MSG_DCT_DRIVECHANGED, "FC416357-3DE0-47C5-9C8F-45DD07D2DDD0",
     "_ZN18DrivesChangeThread20MSG_DCT_DRIVECHANGEDE"},
    {&DrivesChangeThread::MSG_DCT_DRIVEREMOVED, "1AB91673-9DA1-4E7D-B57A-15EB23484FB7",
     "_ZN18DrivesChangeThread20MSG_DCT_DRIVEREMOVEDE"},
};

// The framework links of a module, counted in the chain of extension modules.
int LinksOf(HMODULE module)
{
    AFX_MODULE_STATE* state = AfxGetModuleState();
    EnterCriticalSection(&state->m_lockLibraries);
    int n = 0;
    for (CDynLinkLibrary* link = state->m_pFirstLibrary; link; link = link->m_pNextDLL)
    {
        if (link->m_hModule == module)
        {
            ++n;
            EXPECT_FALSE(link->m_bSystem);
        }
    }
    LeaveCriticalSection(&state->m_lockLibraries);
    return n;
}
}  // namespace

TEST(ModuleFrameTest, EachMessageIsTheNumberOfItsStringAndAllFourDiffer)
{
    for (const Registered& a : Messages)
    {
        EXPECT_EQ(RegisterWindowMessageA(a.text), *a.member) << a.text;
        for (const Registered& b : Messages)
        {
            if (&a != &b)
            {
                EXPECT_NE(*a.member, *b.member) << a.text << " and " << b.text;
            }
        }
    }
}

TEST(ModuleFrameTest, OtherProcessesWithTheLibraryOrWithoutGetTheSameNumbers)
{
    std::vector<std::string> args = {"module-messages"};
    for (const Registered& m : Messages)
        args.push_back(std::to_string(*m.member));
    weft::test::ChildProcess first(args), second(args);
    ASSERT_TRUE(first.Started());
    ASSERT_TRUE(second.Started());
    EXPECT_EQ(0, first.WaitExit(weft::test::MustHappenMs()));
    EXPECT_EQ(0, second.WaitExit(weft::test::MustHappenMs()));

    // A program that does not load the library registers each string itself.
    const std::string exe = weft::test::ExeDir() + "weft_plainchild.exe";
    for (const Registered& m : Messages)
    {
        std::string cmd = "\"" + exe + "\" " + m.text + " " + std::to_string(*m.member);
        STARTUPINFOA si = {};
        si.cb = sizeof si;
        PROCESS_INFORMATION pi = {};
        ASSERT_TRUE(CreateProcessA(exe.c_str(), cmd.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi));
        CloseHandle(pi.hThread);
        DWORD code = 99;
        if (WaitForSingleObject(pi.hProcess, weft::test::MustHappenMs()) == WAIT_OBJECT_0)
            GetExitCodeProcess(pi.hProcess, &code);
        else
            TerminateProcess(pi.hProcess, 99);
        CloseHandle(pi.hProcess);
        EXPECT_EQ(0u, code) << m.text << " (1: another number, 2: the library was loaded)";
    }
}

namespace
{
// A copy of weftcore.dll under another name in the temporary folder, unloaded and deleted at the end.
struct ModuleCopy
{
    ModuleCopy()
    {
        char temp[MAX_PATH + 1] = {};
        GetTempPathA(MAX_PATH, temp);
        path = std::string(temp) + weft::test::UniqueName("module") + ".dll";
        copied = CopyFileA((weft::test::ExeDir() + "weftcore.dll").c_str(), path.c_str(), FALSE) != FALSE;
    }
    ~ModuleCopy()
    {
        if (module)
            FreeLibrary(module);
        if (copied)
            DeleteFileA(path.c_str());
    }
    ModuleCopy(const ModuleCopy&) = delete;
    ModuleCopy& operator=(const ModuleCopy&) = delete;

    std::string path;
    bool copied = false;
    HMODULE module = nullptr;
};
}  // namespace

TEST(ModuleFrameTest, AModuleAttachesAndDetachesWithNoThreadObjectCreated)
{
    // A copy under another name is a module of its own: its entry and static objects run at
    // load and unload here, while the library it was copied from stays loaded.
    ASSERT_EQ(1, LinksOf(GetModuleHandleA("weftcore.dll")));
    ModuleCopy copy;
    ASSERT_TRUE(copy.copied);
    copy.module = LoadLibraryA(copy.path.c_str());
    HMODULE module = copy.module;
    ASSERT_NE(nullptr, module) << GetLastError();
    EXPECT_NE(GetModuleHandleA("weftcore.dll"), module);
    EXPECT_EQ(1, LinksOf(module));
    for (const Registered& m : Messages)
    {
        const auto* value = reinterpret_cast<const unsigned int*>(GetProcAddress(module, m.symbol));
        ASSERT_NE(nullptr, value) << m.symbol;
        EXPECT_EQ(*m.member, *value) << m.text;
        EXPECT_NE(m.member, value);
    }
    const auto* mask = reinterpret_cast<const CString*>(GetProcAddress(module, "_ZN13TextConstants12AllFilesMaskE"));
    ASSERT_NE(nullptr, mask);
    EXPECT_EQ(CString("*.*"), *mask);
    copy.module = nullptr;
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(nullptr, GetModuleHandleA(copy.path.c_str()));
    EXPECT_EQ(0, LinksOf(module));
    EXPECT_EQ(1, LinksOf(GetModuleHandleA("weftcore.dll")));
}
