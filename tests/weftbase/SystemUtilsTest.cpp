#include "weftcore.h"

#include <gtest/gtest.h>

TEST(SystemUtilsTest, GivesTheSystemsMessageWithoutTheLineBreakAndKeepsTheLastError)
{
    char buffer[512] = {};
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, ERROR_FILE_NOT_FOUND, 0, buffer,
                   sizeof buffer, nullptr);
    CString system(buffer);
    system.TrimRight(" \r\n\t.");
    SetLastError(ERROR_PATH_NOT_FOUND);
    const CString text = SystemUtils::GetLastError(ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(static_cast<DWORD>(ERROR_PATH_NOT_FOUND), GetLastError());
    EXPECT_EQ(0, text.Find(system)) << text.GetString();
    EXPECT_EQ(-1, text.Find('\n'));
    // Zero stands for the thread's last error.
    EXPECT_EQ(SystemUtils::GetLastError(ERROR_PATH_NOT_FOUND), SystemUtils::GetLastError(0));
    EXPECT_EQ(static_cast<DWORD>(ERROR_PATH_NOT_FOUND), GetLastError());
    EXPECT_EQ(CString("Error 987654"), SystemUtils::GetLastError(987654));
}
