#include "weftcore.h"

#include "jobs/JobTree.h"
#include "support/OwnerWindow.h"

#include <algorithm>

using namespace weft::test;
using Lines = std::vector<std::string>;

namespace
{
const UINT FindMsg = WM_APP + 61;
const __int64 FindLParam = -61;
}  // namespace

class FindFileThreadTest : public ::testing::Test
{
protected:
    // The paths of the next n result messages, checked to count up from 0, then the end message;
    // each path read as its message is taken. With read false the messages only: a later run may
    // have replaced the results by then.
    Lines Results(FindFileThread& finder, size_t n, bool read = true)
    {
        Lines paths;
        for (size_t i = 0; i <= n; ++i)
        {
            const auto m = owner.Next();
            if (!m || m->lParam != FindLParam)
                return {"message " + std::to_string(i) + " missing"};
            EXPECT_EQ(i < n ? i : n + 1, m->wParam);
            if (i < n && read)
                paths.push_back(finder.GetFileAtIndex(m->wParam).GetString());
        }
        return paths;
    }

    OwnerWindow owner;
    TempDir dir{"find"};
    const std::string root = dir.Path();
};

// The results in the file system's order, directories with their backslash, the root never; the
// skip list by full path; without recursion files of the root alone; stopping at a match keeps
// a directory's first match and drops its subdirectories.
TEST_F(FindFileThreadTest, MatchesComeInWalkOrderWithTheirIndexesThenTheEnd)
{
    MakeTree(root, {"a.txt", "b.log", "B.txt", "d\\c.txt", "d\\obj\\", "d\\e\\f.TXT", "skip\\g.txt", "obj\\h.log",
                    "s\\x.log", "s\\m\\m.txt", "s\\m\\deep\\n.txt", "s\\k\\l\\o.txt"});
    Lines order;
    Walk(root, order);
    const struct
    {
        std::string at;
        bool recurse, stop;
        Lines expected;  // sorted
    } cases[] = {
        {root, true, false, {"a.txt", "d\\c.txt", "d\\e\\f.TXT", "d\\obj\\", "obj\\", "s\\k\\l\\o.txt", "s\\m\\deep\\n.txt", "s\\m\\m.txt"}},
        {root, false, true, {"a.txt"}},
        {root + "s", true, true, {"s\\k\\l\\o.txt", "s\\m\\m.txt"}},
        {root + "obj", true, false, {}},  // a root that would match
    };
    FindFileThread finder(FindMsg, owner.Handle(), FindLParam, 0);
    for (const auto& c : cases)
    {
        finder.DoFind(c.at.c_str(), Texts({"*.txt; obj\\"}), Texts({"b*"}), Texts({root + "skip\\", root + "d\\e"}), c.recurse, true, c.stop);
        Lines found = Results(finder, c.expected.size());
        std::vector<size_t> at;
        for (std::string& path : found)
            at.push_back(std::find(order.begin(), order.end(), path) - order.begin()), path = path.substr(root.size());
        EXPECT_TRUE(c.stop || std::is_sorted(at.begin(), at.end())) << "not in the file system's order";
        std::sort(found.begin(), found.end());
        EXPECT_EQ(c.expected, found);
        EXPECT_FALSE(finder.IsValidIndex(c.expected.size()));
        EXPECT_EQ(CString(), finder.GetFileAtIndex(c.expected.size()));
    }
    EXPECT_FALSE(owner.Next(Scaled(100)).has_value());
}

// A new request during a paced search: the old one gives way with its last message, then the
// new one runs, and once more for the request that came during the old one. A stop in a deep
// tree ends the search with no last message.
TEST_F(FindFileThreadTest, ANewRequestReplacesTheRunningSearchAndAStopEndsItSilently)
{
    for (int i = 0; i < 40; ++i)
        MakeTree(root, {"old\\" + std::to_string(i) + ".txt", "deep\\a\\" + std::to_string(i) + ".log",
                        "deep\\b\\" + std::to_string(i) + ".log"});
    MakeTree(root, {"new\\1.txt", "new\\2.txt", "deep\\a\\x.txt", "deep\\b\\x.txt"});
    FindFileThread finder(FindMsg, owner.Handle(), FindLParam, 1);
    finder.DoFind((root + "old").c_str(), Texts({"*.txt"}), TextArray(), TextArray(), true, true, false);
    ASSERT_TRUE(owner.Next().has_value());
    finder.DoFind((root + "new").c_str(), Texts({"*.txt"}), TextArray(), TextArray(), true, true, false);
    std::optional<OwnerWindow::Message> m;
    size_t count = 1;
    while ((m = owner.Next()) && m->wParam == count)
        ++count;
    ASSERT_TRUE(m && m->wParam == count + 1) << "the old search's last message";
    EXPECT_LT(count, 40u) << "the old search did not give way";
    EXPECT_TRUE(Results(finder, 2, false).empty());
    Lines found = Results(finder, 2);
    std::sort(found.begin(), found.end());
    EXPECT_EQ(Lines({root + "new\\1.txt", root + "new\\2.txt"}), found);
    EXPECT_FALSE(owner.Next(Scaled(100)).has_value());
    // Whichever of a and b comes first, the other's 41 paced entries remain when the stop comes.
    const size_t before = owner.Count();
    finder.DoFind((root + "deep").c_str(), Texts({"*.txt"}), TextArray(), TextArray(), true, true, false);
    ASSERT_TRUE(owner.Next().has_value());
    finder.Stop(MustHappenMs());
    owner.Flush();
    EXPECT_EQ(before + 1, owner.Count()) << "a message after the stop";
}

// Bad paths cancel without a message. Without a window or message nothing is sent, and a stop
// before any request ends the thread at once. No handle stays open.
TEST_F(FindFileThreadTest, BadRequestsCancelAndSilentFindersSendNothing)
{
    MakeTree(root, {"file.txt", "sub\\1.txt"});
    EXPECT_TRUE(LeaksNoHandles([&] {
        FindFileThread finder(FindMsg, owner.Handle(), FindLParam, 0);
        for (const std::string& bad : {std::string(), root + "file.txt", root + "missing", root + std::string(300, 'a')})
            finder.DoFind(bad.c_str(), Texts({"*"}), TextArray(), TextArray(), true, true, false);
        FindFileThread noWindow(FindMsg, nullptr, 0, 0), noMsg(0, owner.Handle(), 0, 0), stopped(FindMsg, owner.Handle(), 0, 0);
        stopped.Stop(MustHappenMs());
        for (FindFileThread* f : {&noWindow, &noMsg, &stopped})
            f->DoFind(root.c_str(), Texts({"*"}), TextArray(), TextArray(), true, true, false);
        EXPECT_TRUE(owner.StaysAt(0));
        EXPECT_FALSE(stopped.IsValidIndex(0));
    }));
}
