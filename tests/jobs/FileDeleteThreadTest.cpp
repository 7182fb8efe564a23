#include "weftcore.h"

#include "jobs/JobTree.h"
#include "support/OwnerWindow.h"

#include <winioctl.h>

#include <algorithm>

using namespace weft::test;
using Lines = std::vector<std::string>;

namespace
{
const UINT DelMsg = WM_APP + 63;

// A junction at link to target (an absolute path); false where the file system cannot make one.
bool MakeJunction(const std::string& link, const std::string& target)
{
    CreateDirectoryA(link.c_str(), nullptr);
    HANDLE h = CreateFileA(link.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                           FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    const std::wstring path = L"\\??\\" + std::wstring(target.begin(), target.end());
    const WORD bytes = static_cast<WORD>(path.size() * 2);
    // Tag, data length, reserved, then substitute name offset and length, print name offset and length.
    std::vector<WORD> buffer = {0x3, 0xA000, static_cast<WORD>(8 + bytes + 4), 0, 0, bytes, static_cast<WORD>(bytes + 2), 0};
    buffer.insert(buffer.end(), path.begin(), path.end());
    buffer.insert(buffer.end(), {0, 0});
    DWORD out = 0;
    const bool made = DeviceIoControl(h, FSCTL_SET_REPARSE_POINT, buffer.data(), static_cast<DWORD>(buffer.size() * 2),
                                      nullptr, 0, &out, nullptr);
    CloseHandle(h);
    return made;
}
}  // namespace

// Files, whole trees and missing paths, in order; protected items stay unless optionA is set;
// one message, wParam 0, once the list is done, also for an empty list.
TEST(FileDeleteThreadTest, EachItemGoesByItsKindAndTheEndIsTold)
{
    OwnerWindow owner;
    TempDir dir("delete");
    const std::string r = dir.Path();
    for (bool optionA : {false, true})
    {
        MakeTree(r, {"plain", "locked", "tree\\a", "tree\\sub\\b", "tree\\sub\\locked", "keep"});
        SetFileAttributesA((r + "locked").c_str(), FILE_ATTRIBUTE_READONLY);
        SetFileAttributesA((r + "tree\\sub\\locked").c_str(), FILE_ATTRIBUTE_READONLY);
        FileDeleteThread job(Texts({r + "plain", r + "missing", r + "locked", r + "tree"}), DelMsg, owner.Handle(), -63, optionA, false);
        const auto m = owner.Next();
        ASSERT_TRUE(m && m->wParam == 0 && m->lParam == -63);
        Lines left;
        Walk(r, left);
        for (std::string& path : left)
            path = path.substr(r.size());
        std::sort(left.begin(), left.end());
        EXPECT_EQ(optionA ? Lines({"keep"}) : Lines({"keep", "locked", "tree\\", "tree\\sub\\", "tree\\sub\\locked"}), left);
        SetFileAttributesA((r + "locked").c_str(), FILE_ATTRIBUTE_NORMAL);
        SetFileAttributesA((r + "tree\\sub\\locked").c_str(), FILE_ATTRIBUTE_NORMAL);
    }
    FileDeleteThread empty(TextArray(), DelMsg, owner.Handle(), 0, false, false);
    EXPECT_TRUE(owner.Next().has_value());
}

// A stop ends the job between two items with no message: the item under way is finished, the
// next one stays. A junction in a deleted tree goes as a link; what it points to stays.
TEST(FileDeleteThreadTest, AStopLeavesTheRestAndAJunctionIsNeverFollowed)
{
    OwnerWindow owner;
    TempDir dir("delstop");
    const std::string r = dir.Path();
    for (int i = 0; i < 300; ++i)
        MakeTree(r, {"big\\" + std::to_string(i % 10) + "\\" + std::to_string(i)});
    MakeTree(r, {"next", "outside\\kept", "tree\\x"});
    {
        FileDeleteThread job(Texts({r + "big", r + "next"}), DelMsg, owner.Handle(), 0, false, false);
        job.Stop(MustHappenMs());
    }
    EXPECT_TRUE(FileUtils::DoesFileExist((r + "next").c_str()));
    EXPECT_TRUE(owner.StaysAt(0, Scaled(100)));
    if (!MakeJunction(r + "tree\\link", r + "outside"))
        GTEST_SKIP() << "this file system makes no junctions (Wine 8 has no reparse points)";
    FileDeleteThread job(Texts({r + "tree"}), DelMsg, owner.Handle(), 0, true, true);
    ASSERT_TRUE(owner.Next().has_value());
    EXPECT_FALSE(FileUtils::DoesFileExist((r + "tree").c_str()));
    EXPECT_TRUE(FileUtils::DoesFileExist((r + "outside\\kept").c_str()));
}
