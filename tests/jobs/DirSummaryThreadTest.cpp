#include "weftcore.h"

#include "jobs/JobTree.h"
#include "support/OwnerWindow.h"

using namespace weft::test;

namespace
{
const UINT SumMsg = WM_APP + 62;

void SetWriteTime(const std::string& path, WORD year, WORD month, WORD day, WORD hour)
{
    const SYSTEMTIME at = {year, month, 0, day, hour, 5, 6, 0};
    FILETIME time;
    SystemTimeToFileTime(&at, &time);
    HANDLE file = CreateFileA(path.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    SetFileTime(file, nullptr, nullptr, &time);
    CloseHandle(file);
}
}  // namespace

class DirSummaryThreadTest : public ::testing::Test
{
protected:
    // Waits for the message of a completed run, with the constructor's parameters.
    ::testing::AssertionResult Completed()
    {
        const auto m = owner.Next();
        if (!m || m->wParam != 7 || m->lParam != -7)
            return ::testing::AssertionFailure() << "no completion message";
        return ::testing::AssertionSuccess();
    }

    OwnerWindow owner;
    TempDir dir{"summary"};
    const std::string root = dir.Path();
};

// Every file counts, hidden ones too, at every level; the dates are the newest and oldest last
// writes; an empty directory gives nothing and unset dates. Naming the present directory again
// does nothing, and GatherInfo repeats a run.
TEST_F(DirSummaryThreadTest, TotalsDatesAndTextsOfATreeAndOfAnEmptyDirectory)
{
    MakeTree(root, {"tree\\abc", "tree\\sub\\hello", "tree\\sub\\deep\\x", "tree\\sub\\deep\\hidden", "empty\\"});
    SetWriteTime(root + "tree\\abc", 2001, 2, 3, 4);
    SetWriteTime(root + "tree\\sub\\hello", 2020, 6, 7, 8);
    SetWriteTime(root + "tree\\sub\\deep\\x", 2010, 1, 1, 0);
    SetWriteTime(root + "tree\\sub\\deep\\hidden", 2015, 1, 1, 0);
    SetFileAttributesA((root + "tree\\sub\\deep\\hidden").c_str(), FILE_ATTRIBUTE_HIDDEN);
    DirSummaryThread summary((root + "tree").c_str(), SumMsg, owner.Handle(), 7, -7);
    summary.GatherInfo();
    ASSERT_TRUE(Completed());
    EXPECT_FALSE(summary.IsGatheringInfo());
    EXPECT_EQ(4u, summary.GetFileCount());
    EXPECT_EQ(8u + 14 + 15 + 20, summary.GetDirUsesSpaceValue());  // each file holds its own path
    EXPECT_EQ(CString("57 bytes"), summary.GetDirUsesSpace());
    EXPECT_EQ(CString("2001-02-03 04:05:06"), summary.GetOldestFileDate().Format());
    EXPECT_EQ(CString("2020-06-07 08:05:06"), summary.GetNewestFileDate().Format());
    unsigned long long total = 0, free = 0;
    double percent = 0;
    ASSERT_TRUE(VolumeUtils::GetDriveSpaceInfo(root.c_str(), total, free, percent));
    EXPECT_EQ(NumberTextConv::ConvertBytesToString(total), summary.GetDriveTotalSpace());
    for (const CString& share : {summary.GetDriveFreeSpacePercent(), summary.GetDirUsesSpacePercent()})
        EXPECT_TRUE(share.GetLength() > 1 && share.Find('%') == share.GetLength() - 1) << share.GetString();
    EXPECT_FALSE(summary.GetDriveFreeSpace().IsEmpty());

    summary.SetDir((root + "empty").c_str());
    ASSERT_TRUE(Completed());
    EXPECT_EQ(0u, summary.GetFileCount() + summary.GetDirUsesSpaceValue());
    EXPECT_FALSE(summary.GetNewestFileDate().IsValid() || summary.GetOldestFileDate().IsValid());
    EXPECT_EQ(CString("0 bytes"), summary.GetDirUsesSpace());
    CString same((root + "EMPTY\\").c_str());
    summary.SetDir(same);
    EXPECT_FALSE(owner.Next(MustNotHappenMs()).has_value());
    summary.GatherInfo();
    EXPECT_TRUE(Completed());
}

// A path that is no directory gives an inert object, which never sends and, once given a
// directory, stays gathering for good. On a working object it cancels: the results go, save the
// byte sum of the last run, and nothing is sent. No handle stays open.
TEST_F(DirSummaryThreadTest, BadDirectoriesGiveInertObjectsOrCancel)
{
    MakeTree(root, {"file", "d\\x"});
    EXPECT_TRUE(LeaksNoHandles([&] {
        for (const std::string& bad : {std::string(), root + "file", root + "missing", root + std::string(300, 'a')})
        {
            DirSummaryThread inert(bad.c_str(), SumMsg, owner.Handle(), 7, -7);
            inert.GatherInfo();
            EXPECT_FALSE(inert.IsGatheringInfo());
            inert.SetDir(root.c_str());
            EXPECT_TRUE(inert.IsGatheringInfo());
        }
        DirSummaryThread summary((root + "d").c_str(), SumMsg, owner.Handle(), 7, -7);
        summary.GatherInfo();
        ASSERT_TRUE(Completed());
        summary.SetDir((root + "file").c_str());
        EXPECT_FALSE(summary.IsGatheringInfo());
        EXPECT_TRUE(summary.GetFileCount() == 0 && summary.GetDirUsesSpace().IsEmpty() && summary.GetDriveTotalSpace().IsEmpty());
        EXPECT_EQ(3u, summary.GetDirUsesSpaceValue());
        summary.GatherInfo();
        DirSummaryThread noWindow(root.c_str(), SumMsg, nullptr, 0, 0), noMsg(root.c_str(), 0, owner.Handle(), 0, 0);
        noWindow.GatherInfo();
        noMsg.GatherInfo();
        EXPECT_FALSE(owner.Next(MustNotHappenMs()).has_value());
    }));
}
