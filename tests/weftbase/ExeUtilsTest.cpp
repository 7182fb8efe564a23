#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <objbase.h>

#include <tuple>

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

TEST_F(ExeUtilsTest, AProgramStartsWithItsParametersInTheDirectoryGivenAndAFailureGivesTheSystemsText)
{
    // No directory, and the system's: a folder that outlives the child, since a folder that is
    // some process's current directory cannot be removed at once.
    char system[MAX_PATH + 1] = {};
    ASSERT_GT(GetSystemDirectoryA(system, MAX_PATH), 0u);
    const std::tuple<const char*, int, int> cases[] = {{"", ExeUtils::Default, SW_SHOWNORMAL},
                                                       {system, ExeUtils::Open, 1}};
    const std::string child = weft::test::ExeDir() + "weft_testchild.exe";
    for (const auto& [dir, verb, show] : cases)
    {
        SCOPED_TRACE(dir);
        const std::string name = weft::test::UniqueName("launch");
        MTEvent started(true, false, name.c_str());
        CString error("stale");
        const std::string params = "set-event " + name + (*dir ? " \"" + std::string(dir) + "\"" : "");
        EXPECT_TRUE(ExeUtils::ShellLaunchApp(child.c_str(), dir, params.c_str(), true, verb, show, error, nullptr))
            << error.GetString();
        EXPECT_TRUE(error.IsEmpty());
        ASSERT_EQ(WAIT_OBJECT_0, started.Wait(weft::test::MustHappenMs()));
        // The child holds "<name>.alive" until it exits.
        MTMutex alive(false, (name + ".alive").c_str());
        const unsigned long result = alive.Wait(weft::test::MustHappenMs());
        EXPECT_TRUE(result == WAIT_ABANDONED_0 || result == WAIT_OBJECT_0) << result;
    }
    // A failed launch gives the system's text.
    CString error;
    EXPECT_FALSE(ExeUtils::ShellLaunchApp((child + "-none.exe").c_str(), "", "", true, 0, 1, error, nullptr));
    EXPECT_EQ(SystemUtils::GetLastError(0), error);
    EXPECT_FALSE(ExeUtils::ShellLaunchApp(nullptr, nullptr, nullptr, true, 99, 1, error, nullptr));
    EXPECT_FALSE(error.IsEmpty());
}
