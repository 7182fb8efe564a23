#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <iterator>
#include <set>
#include <thread>
#include <vector>

using weft::test::ReadBytes;
using weft::test::TempDir;

namespace
{
// The lines of a log, each ended by CR LF; a torn last line fails the test.
std::multiset<std::string> LinesOf(const std::string& path)
{
    const std::string all = ReadBytes(path);
    std::multiset<std::string> lines;
    for (size_t at = 0, end; at < all.size(); at = end + 2)
    {
        end = all.find("\r\n", at);
        EXPECT_NE(std::string::npos, end) << "unended line at " << at;
        if (end == std::string::npos)
            break;
        lines.insert(all.substr(at, end - at));
    }
    return lines;
}

std::string Line(const std::string& tag, int i)
{
    return tag + " line " + std::to_string(1000 + i);
}
}  // namespace

TEST(AppLoggerTest, EachLineIsTheTextAndCrLfAppendedToTheNamedFileAfterAnOptionalStamp)
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

    // Time stamps go in front, in UTC.
    const std::string stamped = dir / "stamped.log";
    AppLogger log(stamped.c_str(), true);
    SYSTEMTIME now;
    GetSystemTime(&now);
    ASSERT_TRUE(log.AddLine("hello"));
    const std::string line = ReadBytes(stamped);
    ASSERT_EQ(24u + 5 + 2, line.size()) << line;
    EXPECT_EQ(0u, line.find(std::to_string(now.wYear) + "-"));
    EXPECT_EQ(' ', line[23]);
    EXPECT_EQ("hello\r\n", line.substr(24));
}

TEST(AppLoggerTest, LinesFromThreadsAndProcessesSharingTheFileNeverInterleave)
{
    TempDir dir("log");
    const std::string path = dir / "shared.log";
    constexpr int lines = 300;
    AppLogger log(path.c_str());
    weft::test::ChildProcess first({"log-lines", path, "first", std::to_string(lines)});
    weft::test::ChildProcess second({"log-lines", path, "second", std::to_string(lines)});
    const char* tags[] = {"first", "second", "thread 0", "thread 1", "thread 2"};
    std::vector<std::thread> writers;
    for (const char* tag : {tags[2], tags[3], tags[4]})
        writers.emplace_back([&log, tag] {
            for (int i = 0; i < lines; ++i)
                log.AddLine(Line(tag, i).c_str());
        });
    for (std::thread& w : writers)
        w.join();
    EXPECT_EQ(0, first.WaitExit(weft::test::MustHappenMs()));
    EXPECT_EQ(0, second.WaitExit(weft::test::MustHappenMs()));
    const std::multiset<std::string> seen = LinesOf(path);
    ASSERT_EQ(std::size(tags) * lines, seen.size());
    for (const char* tag : tags)
        for (int i = 0; i < lines; ++i)
            EXPECT_EQ(1u, seen.count(Line(tag, i))) << tag << " " << i;
}

TEST(AppLoggerTest, ALoggerWhoseFileCannotOpenIsInert)
{
    EXPECT_EQ(nullptr, AppLogger::m_pInstance);  // until the application sets it
    TempDir dir("log");
    AppLogger log((dir / "missing\\folder\\x.log").c_str());
    EXPECT_FALSE(log.IsOpen());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_PATH_NOT_FOUND), log.GetStatus());
    EXPECT_FALSE(log.AddLine("lost"));
    EXPECT_FALSE(AppLogger("").AddLine("lost"));
    EXPECT_FALSE(AppLogger(nullptr).IsOpen());
}
