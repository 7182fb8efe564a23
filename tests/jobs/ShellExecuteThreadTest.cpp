#include "weftcore.h"

#include "jobs/JobTree.h"
#include "module/CodedTexts.h"

#include <gtest/gtest.h>

#include <memory>
#include <tuple>

using namespace weft::test;

// A program gets the argument; another file (a batch document here) does not, and runs in the
// argument's folder, or without one in its own; the child started checks both and sets an event.
// An address and a missing file give the shell's outcome; an empty or blank file launches nothing
// and logs. A later Stop leaves the text alone. The constructor's time is measured in the bench.
TEST(ShellExecuteThreadTest, EachLaunchGivesTheShellsOutcomeWithTheRightArgumentAndFolder)
{
    TempDir dir("shell");
    const std::string r = dir.Path(), child = ExeDir() + "weft_testchild.exe", name = UniqueName("shell");
    CreateDirectoryA((r + "other").c_str(), nullptr);
    const CString empty = StringUtils::DecryptText(CodedTexts::ShellEmptyFileText);
    // file, argument, the folder the child must run in ("-": no child), the error text.
    const std::tuple<std::string, std::string, std::string, CString> cases[] = {
        {child, "set-event " + name, "", ""},
        {r + "a.bat", "", r.substr(0, r.size() - 1), ""},
        {r + "b.bat", r + "other\\x.txt", r + "other", ""},
        {"http://127.0.0.1:9/weft", "", "-", ""},
        {r + "missing.exe", "", "-", SystemUtils::GetLastError(ERROR_FILE_NOT_FOUND)},
        {"", "x", "-", empty},
        {" \t ", "", "-", empty},
    };
    auto log = std::make_unique<AppLogger>((r + "log").c_str());
    AppLogger::m_pInstance = log.get();
    for (const auto& [file, argument, folder, error] : cases)
    {
        SCOPED_TRACE(file);
        MTEvent started(true, false, name.c_str());
        // A dropped argument would make the child refuse its command line.
        if (file.ends_with(".bat"))
            WriteBytes(file, "@\"" + child + "\" set-event " + name + " \"" + folder + "\" %1\r\n");
        ShellExecuteThread launch(file.c_str(), argument.c_str());
        launch.Stop(0);
        EXPECT_EQ(error, launch.GetErrorMsg());
        if (folder != "-")
        {
            EXPECT_EQ(WAIT_OBJECT_0, started.Wait(MustHappenMs()));
            MTMutex alive(false, (name + ".alive").c_str());
            EXPECT_NE(WAIT_TIMEOUT, alive.Wait(MustHappenMs()));
        }
    }
    AppLogger::m_pInstance = nullptr;
    log.reset();
    EXPECT_EQ(ReadBytes(r + "log"), "{D200E479-40A6-4B65-831F-3FC1D68425C6}\r\n{D200E479-40A6-4B65-831F-3FC1D68425C6}\r\n");
    // The batch interpreter may still hold its folder for a moment after the child has ended.
    EXPECT_TRUE(WaitUntil([&] { return DirUtils::DeleteDirectory(r.c_str(), 0, nullptr, nullptr, nullptr).IsEmpty(); },
                          MustHappenMs()));
}
