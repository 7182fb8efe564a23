#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <objbase.h>

namespace
{
// The shell wants a single-threaded apartment on the launching thread.
class ExeUtilsTest : public ::testing::Test
{
protected:
    ~ExeUtilsTest() override
    {
        if (m_com)
            CoUninitialize();
    }
    const bool m_com = SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE));
};
}  // namespace

TEST_F(ExeUtilsTest, AProgramStartsWithItsParametersInTheDirectoryGiven)
{
    // No directory, and the system's: a folder that outlives the child, since a folder that is
    // some process's current directory cannot be removed at once.
    char system[MAX_PATH + 1] = {};
    ASSERT_GT(GetSystemDirectoryA(system, MAX_PATH), 0u);
    struct Case
    {
        const char* dir;
        int verb;
        int show;
    } cases[] = {{"", ExeUtils::Default, SW_SHOWNORMAL}, {system, ExeUtils::Open, 1}};
    const std::string child = weft::test::ExeDir() + "weft_testchild.exe";
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.dir);
        const std::string name = weft::test::UniqueName("launch");
        MTEvent started(true, false, name.c_str());
        CString error("stale");
        std::string params = "set-event " + name;
        if (*c.dir)
            params += " \"" + std::string(c.dir) + "\"";
        EXPECT_TRUE(
            ExeUtils::ShellLaunchApp(child.c_str(), c.dir, params.c_str(), true, c.verb, c.show, error, nullptr))
            << error.GetString();
        EXPECT_TRUE(error.IsEmpty());
        ASSERT_EQ(WAIT_OBJECT_0, started.Wait(weft::test::MustHappenMs()));
        // The child holds "<name>.alive" until it exits.
        MTMutex alive(false, (name + ".alive").c_str());
        const unsigned long result = alive.Wait(weft::test::MustHappenMs());
        EXPECT_TRUE(result == WAIT_ABANDONED_0 || result == WAIT_OBJECT_0) << result;
    }
}

TEST_F(ExeUtilsTest, AFailedLaunchGivesTheSystemsText)
{
    weft::test::TempDir dir("launch");
    CString error;
    EXPECT_FALSE(ExeUtils::ShellLaunchApp((dir / "no such program.exe").c_str(), "", "", true, 0, 1, error, nullptr));
    EXPECT_EQ(SystemUtils::GetLastError(ERROR_FILE_NOT_FOUND), error);
    EXPECT_FALSE(ExeUtils::ShellLaunchApp("  ", "", "", true, 0, 1, error, nullptr));
    EXPECT_FALSE(error.IsEmpty());
    EXPECT_FALSE(ExeUtils::ShellLaunchApp(nullptr, nullptr, nullptr, true, 99, 1, error, nullptr));
    EXPECT_FALSE(error.IsEmpty());
}
