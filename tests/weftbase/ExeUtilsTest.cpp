#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <objbase.h>

namespace
{
// The shell wants a single-threaded apartment on the launching thread.
class ExeUtilsTest : public ::testing::Test
{
protected:
    void SetUp() override { m_com = SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE)); }
    void TearDown() override
    {
        if (m_com)
            CoUninitialize();
    }
    bool m_com = false;
};

std::string Child()
{
    return weft::test::ExeDir() + "weft_testchild.exe";
}
}  // namespace

TEST_F(ExeUtilsTest, AProgramStartsWithItsParameters)
{
    const std::string name = weft::test::UniqueName("launch");
    MTEvent started(true, false, name.c_str());
    CString error("stale");
    const std::string params = "set-event " + name;
    EXPECT_TRUE(ExeUtils::ShellLaunchApp(Child().c_str(), "", params.c_str(), true, ExeUtils::Default, SW_SHOWNORMAL,
                                         error, nullptr))
        << error.GetString();
    EXPECT_TRUE(error.IsEmpty());
    EXPECT_EQ(WAIT_OBJECT_0, started.Wait(weft::test::MustHappenMs()));
}

TEST_F(ExeUtilsTest, TheProgramRunsInTheDirectoryGiven)
{
    weft::test::TempDir dir("launch");
    const std::string name = weft::test::UniqueName("launchdir");
    MTEvent started(true, false, name.c_str());
    CString error;
    // Without the trailing backslash, which would escape the closing quote of the argument.
    const std::string folder = dir.Path().substr(0, dir.Path().size() - 1);
    const std::string params = "set-event-in-dir \"" + folder + "\" " + name;
    EXPECT_TRUE(ExeUtils::ShellLaunchApp(Child().c_str(), dir.Path().c_str(), params.c_str(), true, ExeUtils::Open, 1,
                                         error, nullptr))
        << error.GetString();
    EXPECT_EQ(WAIT_OBJECT_0, started.Wait(weft::test::MustHappenMs()));
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
