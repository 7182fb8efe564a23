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
};

// The strings are the contract between processes: one number per string, wherever registered.
const Registered Messages[] = {
    {&ZipThread::MSG_ZIPTHREAD_DONE, "5F2D9B0E-3A42-46f4-9B58-DACF5E5CA5A0"},
    {&DrivesChangeThread::MSG_DCT_DRIVEADDED, "C60CDF6F-582F-409F-9145-0F9756CF8FC8"},
    {&DrivesChangeThread::MSG_DCT_DRIVECHANGED, "FC416357-3DE0-47C5-9C8F-45DD07D2DDD0"},
    {&DrivesChangeThread::MSG_DCT_DRIVEREMOVED, "1AB91673-9DA1-4E7D-B57A-15EB23484FB7"},
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
    EXPECT_EQ(1, LinksOf(module));
    const auto* mask = reinterpret_cast<const CString*>(GetProcAddress(module, "_ZN13TextConstants12AllFilesMaskE"));
    ASSERT_NE(nullptr, mask);
    EXPECT_EQ(CString("*.*"), *mask);
    copy.module = nullptr;
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(0, LinksOf(module)) << "the detached module stayed in the chain";
}
