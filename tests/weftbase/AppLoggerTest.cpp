#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

using weft::test::ReadBytes;
using weft::test::TempDir;

TEST(AppLoggerTest, TheInstanceIsNullUntilTheApplicationSetsIt)
{
    EXPECT_EQ(nullptr, AppLogger::m_pInstance);
}

TEST(AppLoggerTest, EachLineIsTheTextAndCrLfAppendedToTheNamedFile)
{
    TempDir dir("log");
    const std::string path = dir / "app.log";
    ASSERT_TRUE(weft::test::WriteBytes(path, "existing\r\n"));
    {
        AppLogger log(path.c_str());
        ASSERT_TRUE(log.IsOpen());
        EXPECT_EQ(0u, log.GetStatus());
        EXPECT_EQ(CString(path.c_str()), log.GetPath());
        EXPECT_TRUE(log.AddLine("{D4E5489A-8B06-4535-8D48-8A72C172B127}"));
        EXPECT_TRUE(log.AddLine(""));
        // Readable while the logger still holds the file.
        EXPECT_EQ("existing\r\n{D4E5489A-8B06-4535-8D48-8A72C172B127}\r\n\r\n", ReadBytes(path));
    }
    AppLogger again(path.c_str());
    again.AddLine("later");
    EXPECT_EQ("existing\r\n{D4E5489A-8B06-4535-8D48-8A72C172B127}\r\n\r\nlater\r\n", ReadBytes(path));
}

TEST(AppLoggerTest, TimeStampsGoInFrontInUtc)
{
    TempDir dir("log");
    const std::string path = dir / "stamped.log";
    AppLogger log(path.c_str(), true);
    SYSTEMTIME now;
    GetSystemTime(&now);
    ASSERT_TRUE(log.AddLine("hello"));
    const std::string line = ReadBytes(path);
    ASSERT_EQ(24u + 5 + 2, line.size()) << line;
    char year[8];
    snprintf(year, sizeof year, "%04u-", now.wYear);
    EXPECT_EQ(0u, line.find(year));
    EXPECT_EQ(' ', line[23]);
    EXPECT_EQ("hello\r\n", line.substr(24));
}

TEST(AppLoggerTest, LinesFromManyThreadsNeverInterleave)
{
    TempDir dir("log");
    const std::string path = dir / "busy.log";
    AppLogger log(path.c_str());
    constexpr int threads = 4, lines = 200;
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t)
        writers.emplace_back([&log, t] {
            for (int i = 0; i < lines; ++i)
            {
                char text[64];
                snprintf(text, sizeof text, "thread %d line %03d xxxxxxxxxxxxxxxxxxxxxxxx", t, i);
                log.AddLine(text);
            }
        });
    for (std::thread& w : writers)
        w.join();
    const std::string all = ReadBytes(path);
    std::set<std::string> seen;
    size_t at = 0;
    while (at < all.size())
    {
        const size_t end = all.find("\r\n", at);
        ASSERT_NE(std::string::npos, end);
        seen.insert(all.substr(at, end - at));
        at = end + 2;
    }
    EXPECT_EQ(static_cast<size_t>(threads * lines), seen.size());
    for (const std::string& s : seen)
        EXPECT_EQ(42u, s.size()) << s;
}

TEST(AppLoggerTest, ProcessesSharingTheFileNeverInterleaveTheirLines)
{
    TempDir dir("log");
    const std::string path = dir / "shared.log";
    constexpr int lines = 300;
    AppLogger log(path.c_str());
    weft::test::ChildProcess first({"log-lines", path, "first", std::to_string(lines)});
    weft::test::ChildProcess second({"log-lines", path, "second", std::to_string(lines)});
    for (int i = 0; i < lines; ++i)
        log.AddLine(("parent line " + std::to_string(1000 + i)).c_str());
    EXPECT_EQ(0, first.WaitExit(weft::test::MustHappenMs()));
    EXPECT_EQ(0, second.WaitExit(weft::test::MustHappenMs()));
    const std::string all = ReadBytes(path);
    std::set<std::string> seen;
    size_t at = 0;
    while (at < all.size())
    {
        const size_t end = all.find("\r\n", at);
        ASSERT_NE(std::string::npos, end);
        seen.insert(all.substr(at, end - at));
        at = end + 2;
    }
    ASSERT_EQ(static_cast<size_t>(3 * lines), seen.size());
    for (const char* tag : {"parent", "first", "second"})
        for (int i = 0; i < lines; ++i)
            EXPECT_EQ(1u, seen.count(std::string(tag) + " line " + std::to_string(1000 + i))) << tag << " " << i;
}

TEST(AppLoggerTest, ALoggerWhoseFileCannotOpenIsInert)
{
    TempDir dir("log");
    AppLogger log((dir / "missing\\folder\\x.log").c_str());
    EXPECT_FALSE(log.IsOpen());
    EXPECT_EQ(static_cast<unsigned long>(ERROR_PATH_NOT_FOUND), log.GetStatus());
    EXPECT_FALSE(log.AddLine("lost"));
    AppLogger empty("");
    EXPECT_FALSE(empty.AddLine("lost"));
    AppLogger null(nullptr);
    EXPECT_FALSE(null.IsOpen());
}
