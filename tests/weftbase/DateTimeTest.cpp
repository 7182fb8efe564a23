#include "weftcore.h"

#include <gtest/gtest.h>

#include <tuple>

namespace
{
FILETIME FromSystem(WORD year, WORD month, WORD day, WORD hour, WORD minute, WORD second, WORD ms = 0)
{
    const SYSTEMTIME st = {year, month, 0, day, hour, minute, second, ms};
    FILETIME ft = {};
    SystemTimeToFileTime(&st, &ft);
    return ft;
}

DateTime Of(const FILETIME& ft)
{
    DateTime d;
    d.Set(ft);
    return d;
}
}  // namespace

TEST(DateTimeTest, FileTimesGiveDayNumbersFromTheYearOneToTheLastDayOf9999)
{
    const std::tuple<FILETIME, int, int, const char*> cases[] = {
        {FromSystem(1601, 1, 1, 0, 0, 1), 584389, 1, "1601-01-01 00:00:01"},
        {FromSystem(1900, 3, 1, 0, 0, 0), 693655, 0, "1900-03-01 00:00:00"},
        {FromSystem(1970, 1, 1, 0, 0, 0), 719163, 0, "1970-01-01 00:00:00"},
        {FromSystem(2000, 2, 29, 12, 34, 56, 999), 730179, 45296, "2000-02-29 12:34:56"},
        {FromSystem(9999, 12, 31, 23, 59, 59), 3652059, 86399, "9999-12-31 23:59:59"},
        {FromSystem(10000, 1, 1, 0, 0, 0), 0, -1, ""}, {FILETIME{0, 0}, 0, -1, ""},
        {FILETIME{0xFFFFFFFF, 0xFFFFFFFF}, 0, -1, ""},
    };
    for (const auto& [ft, day, second, text] : cases)
    {
        const DateTime d = Of(ft);
        EXPECT_EQ(day, d.m_nDay) << text;
        EXPECT_EQ(second, d.m_nSecond) << text;
        EXPECT_EQ(CString(text), d.Format());
        EXPECT_EQ(day != 0, d.IsValid()) << text;
    }
    EXPECT_TRUE(DateTime(1, 0).IsValid());
    EXPECT_TRUE(DateTime(3652059, 86399).IsValid());
    for (const DateTime& bad :
         {DateTime(0, 0), DateTime(3652060, 0), DateTime(1, 86400), DateTime(1, -1), DateTime(-5, 10), DateTime()})
        EXPECT_FALSE(bad.IsValid()) << bad.m_nDay << " " << bad.m_nSecond;

    // Comparison is by day, then second, to the whole second.
    const DateTime a = Of(FromSystem(2020, 5, 1, 10, 0, 0, 100));
    EXPECT_TRUE((a <=> Of(FromSystem(2020, 5, 1, 10, 0, 0, 900))) == 0);
    EXPECT_TRUE(a < Of(FromSystem(2020, 5, 1, 10, 0, 1)));
    EXPECT_TRUE(DateTime(5, 86399) < DateTime(6, 0));
    EXPECT_TRUE(DateTime() < a);

    // The present moment, and the way back to a file time, hold to the second.
    FILETIME before, after;
    GetSystemTimeAsFileTime(&before);
    DateTime now;
    now.SetToCurrent();
    GetSystemTimeAsFileTime(&after);
    EXPECT_TRUE(Of(before) <= now);
    EXPECT_TRUE(now <= Of(after));

    const FILETIME ft = FromSystem(2024, 12, 31, 23, 59, 58, 750);
    FILETIME back = {};
    ASSERT_TRUE(Of(ft).GetFileTime(back));
    const ULONGLONG ticks = (static_cast<ULONGLONG>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
    EXPECT_EQ(ticks - ticks % 10000000, (static_cast<ULONGLONG>(back.dwHighDateTime) << 32) | back.dwLowDateTime);
    FILETIME untouched = {1, 2};
    EXPECT_FALSE(DateTime().GetFileTime(untouched));
    EXPECT_EQ(1u, untouched.dwLowDateTime);
}
