#include "weftcore.h"

#include "jobs/JobTree.h"
#include "support/OwnerWindow.h"

#include <algorithm>

using namespace weft::test;

// Every job with a window ends in one posted message, failed ones too, with Start's wParam
// sign-extended and its lParam; the outcome and what Start was given are read from the object;
// a failed job leaves no archive and no temporary file. Without a window
// the job runs all the same. The archives' content is checked natively (weftbase_zip_native_check).
TEST(ZipThreadTest, EachJobEndsInOneMessageAndLeavesOnlyACompleteArchive)
{
    OwnerWindow owner;
    TempDir dir("zipjob");
    const std::string r = dir.Path(), src = r + "src\\";
    MakeTree(r, {"src\\a.txt", "src\\sub\\b.txt"});
    struct Case { bool isDir; std::string out, dir; TextArray files; HWND wnd; bool result; };
    const Case cases[] = {
        {true, "tree.zip", src, Texts({r + "missing"}), owner.Handle(), true},
        {false, "list.zip", src, Texts({src + "a.txt", src + "sub"}), owner.Handle(), true},
        {false, "empty.zip", "", TextArray(), owner.Handle(), true},
        {true, "quiet.zip", src, TextArray(), nullptr, true},
        {true, "none.zip", r + "missing", TextArray(), owner.Handle(), false},
        {true, "missing\\x.zip", src, TextArray(), owner.Handle(), false},
    };
    for (int i = 0; i < 6; ++i)
    {
        const Case& c = cases[i];
        SCOPED_TRACE(c.out);
        ZipThread zip;
        zip.Start(c.isDir, (r + c.out).c_str(), c.dir.c_str(), "", c.files, -2 - i, c.wnd, (i + 1ll) << 40);
        if (c.wnd == nullptr)
            zip.Stop(MustHappenMs());
        const auto m = c.wnd ? owner.Next() : std::nullopt;
        EXPECT_TRUE(!c.wnd || (m && m->msg == ZipThread::MSG_ZIPTHREAD_DONE && m->wParam == WPARAM(-2 - i) &&
                               m->lParam == (i + 1ll) << 40));
        EXPECT_EQ(c.result, zip.GetZipResult());
        EXPECT_TRUE(zip.GetIsDir() == c.isDir && zip.GetDir() == c.dir.c_str() && zip.GetOutputFile() == (r + c.out).c_str());
    }
    EXPECT_TRUE(owner.Flush() && owner.Count() == 5);
    std::vector<std::string> left;
    Walk(r, left);
    std::sort(left.begin(), left.end());
    EXPECT_EQ(std::vector<std::string>({r + "empty.zip", r + "list.zip", r + "quiet.zip", r + "src\\",
                                        r + "src\\a.txt", r + "src\\sub\\", r + "src\\sub\\b.txt", r + "tree.zip"}), left);
}

// An output on a read-only file: the rename into place is refused, false, and the file stays.
TEST(ZipThreadTest, AReadOnlyOutputStaysAsItWas)
{
    OwnerWindow owner;
    TempDir dir("ziplocked");
    const std::string r = dir.Path();
    MakeTree(r, {"src\\a.txt", "probe", "locked.zip"});
    SetFileAttributesA((r + "locked.zip").c_str(), FILE_ATTRIBUTE_READONLY);
    if (MoveFileExA((r + "probe").c_str(), (r + "locked.zip").c_str(), MOVEFILE_REPLACE_EXISTING))
        GTEST_SKIP() << "this platform renames over a read-only file (Wine does; Windows refuses, see docs/wine.md)";
    ZipThread zip;
    zip.Start(true, (r + "locked.zip").c_str(), (r + "src").c_str(), "", TextArray(), 0, owner.Handle(), 0);
    EXPECT_TRUE(owner.Next() && !zip.GetZipResult() && ReadBytes(r + "locked.zip") == "locked.zip");
    SetFileAttributesA((r + "locked.zip").c_str(), FILE_ATTRIBUTE_NORMAL);
}
