#include "weftcore.h"

#include <gtest/gtest.h>

namespace
{
CString SystemText(DWORD code)
{
    char buffer[512] = {};
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, buffer, sizeof buffer,
                   nullptr);
    CString text(buffer);
    text.TrimRight(" \r\n\t.");
    return text;
}
}  // namespace

TEST(SystemUtilsTest, GivesTheSystemsMessageWithoutTheLineBreak)
{
    const CString text = SystemUtils::GetLastError(ERROR_FILE_NOT_FOUND);
    ASSERT_FALSE(SystemText(ERROR_FILE_NOT_FOUND).IsEmpty());
    EXPECT_EQ(0, text.Find(SystemText(ERROR_FILE_NOT_FOUND))) << text.GetString();
    EXPECT_EQ(-1, text.Find('\n'));
    EXPECT_NE(SystemUtils::GetLastError(ERROR_ACCESS_DENIED), text);
}

TEST(SystemUtilsTest, ZeroMeansTheThreadsLastErrorWhichStaysAsItWas)
{
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(SystemUtils::GetLastError(ERROR_ACCESS_DENIED), SystemUtils::GetLastError(0));
    EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), GetLastError());
    SetLastError(ERROR_PATH_NOT_FOUND);
    SystemUtils::GetLastError(ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(static_cast<DWORD>(ERROR_PATH_NOT_FOUND), GetLastError());
}

TEST(SystemUtilsTest, AnUnknownCodeStillGivesAText)
{
    EXPECT_EQ(CString("Error 987654"), SystemUtils::GetLastError(987654));
}
