#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <thread>
#include <vector>

using weft::test::ReadBytes;
using weft::test::TempDir;

namespace
{
// The lines of a log without their CR LF; a torn last line is one of them, as it stands.
std::multiset<std::string> LinesOf(const std::string& path)
{
    const std::string all = ReadBytes(path);
    std::multiset<std::string> lines;
    for (size_t at = 0, end; at < all.size(); at = end + 2)
        lines.insert(all.substr(at, (end = std::min(all.find("\r\n", at), all.size())) - at));
    return lines;
}

std::string Line(const std::string& tag, int i)
{
    return tag + " line " + std::to_string(1000 + i);
}
}  // namespace

TEST(AppLoggerTest, EachLineIsTheTextAndCrLfAppendedToTheNamedFileOrNoneIfItCannotOpen)
{
    TempDir dir("log");
    const std::string path = dir / "app.log";
    ASSERT_TRUE(weft::test::WriteBytes(path, "existing\r\n"));
    {
        AppLogger log(path.c_str());
        ASSERT_TRUE(log.IsOpen());
        EXPECT_EQ(0u, log.GetStatus());
        EXPECT_TRUE(log.AddLine("{D4E5489A-8B06-4535-8D48-8A72C172B127}"));
        EXPECT_TRUE(log.AddLine(""));
        // Readable while the logger still holds the file.
        EXPECT_EQ("existing\r\n{D4E5489A-8B06-4535-8D48-8A72C172B127}\r\n\r\n", ReadBytes(path));
    }
    AppLogger again(path.c_str());
    again.AddLine("later");
    EXPECT_EQ("existing\r\n{D4E5489A-8B06-4535-8D48-8A72C172B127}\r\n\r\nlater\r\n", ReadBytes(path));

    // A logger whose file cannot open is inert.
    AppLogger lost((dir / "missing\\folder\\x.log").c_str());
    EXPECT_FALSE(lost.IsOpen());
    EXPECT_NE(0u, lost.GetStatus());
    EXPECT_FALSE(lost.AddLine("lost"));
    EXPECT_FALSE(AppLogger(nullptr).AddLine("lost"));
    EXPECT_EQ(nullptr, AppLogger::m_pInstance);  // until the application sets it
}

TEST(AppLoggerTest, LinesFromThreadsAndProcessesSharingTheFileNeitherInterleaveNorGoMissing)
{
    TempDir dir("log");
    const std::string path = dir / "shared.log";
    constexpr int lines = 2000;
    // The children wait at a gate until all are ready, so that their writes meet.
    const std::string gate = weft::test::UniqueName("log");
    MTEvent open(true, false, gate.c_str());
    MTSemaphore ready(0, 3, (gate + ".ready").c_str());
    const char* tags[] = {"first", "second", "third", "thread 0", "thread 1"};
    weft::test::ChildGroup children;
    for (const char* tag : {tags[0], tags[1], tags[2]})
        children.Start({"log-lines", path, tag, std::to_string(lines), gate});
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(WAIT_OBJECT_0, ready.Wait(weft::test::MustHappenMs()));
    open.Set();
    AppLogger log(path.c_str());
    std::vector<std::thread> writers;
    for (const char* tag : {tags[3], tags[4]})
        writers.emplace_back([&log, tag] {
            for (int i = 0; i < lines; ++i)
                log.AddLine(Line(tag, i).c_str());
        });
    for (std::thread& w : writers)
        w.join();
    ASSERT_TRUE(children.WaitAll(weft::test::Scaled(60000)));
    std::multiset<std::string> expected;
    for (const char* tag : tags)
        for (int i = 0; i < lines; ++i)
            expected.insert(Line(tag, i));
    EXPECT_TRUE(expected == LinesOf(path)) << LinesOf(path).size() << " lines of " << expected.size();
}
