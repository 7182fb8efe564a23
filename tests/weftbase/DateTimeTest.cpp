#include "weftcore.h"

#include <gtest/gtest.h>

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

TEST(DateTimeTest, FileTimesGiveDayNumbersFromTheYearOneAndOutOfRangeGivesUnset)
{
    struct Case
    {
        FILETIME ft;
        int day;
        int second;
        const char* text;
    } cases[] = {
        {FromSystem(1601, 1, 1, 0, 0, 1), 584389, 1, "1601-01-01 00:00:01"},
        {FromSystem(1900, 3, 1, 0, 0, 0), 693655, 0, "1900-03-01 00:00:00"},
        {FromSystem(1970, 1, 1, 0, 0, 0), 719163, 0, "1970-01-01 00:00:00"},
        {FromSystem(2000, 2, 29, 12, 34, 56, 999), 730179, 45296, "2000-02-29 12:34:56"},
        {FromSystem(9999, 12, 31, 23, 59, 59), 3652059, 86399, "9999-12-31 23:59:59"}, {FILETIME{0, 0}, 0, -1, ""},
        {FILETIME{0xFFFFFFFF, 0x7FFFFFFF}, 0, -1, ""},  // year 30828: far past the last day
        {FILETIME{0xFFFFFFFF, 0xFFFFFFFF}, 0, -1, ""},
    };
    for (const Case& c : cases)
    {
        const DateTime d = Of(c.ft);
        EXPECT_EQ(c.day, d.m_nDay) << c.text;
        EXPECT_EQ(c.second, d.m_nSecond) << c.text;
        EXPECT_EQ(CString(c.text), d.Format());
        EXPECT_EQ(c.day != 0, d.IsValid()) << c.text;
    }
    EXPECT_TRUE(DateTime(1, 0).IsValid());
    EXPECT_TRUE(DateTime(3652061, 86399).IsValid());
    for (const DateTime& bad :
         {DateTime(0, 0), DateTime(3652062, 0), DateTime(1, 86400), DateTime(1, -1), DateTime(-5, 10), DateTime()})
        EXPECT_FALSE(bad.IsValid()) << bad.m_nDay << " " << bad.m_nSecond;
}

TEST(DateTimeTest, ComparisonIsByDayThenSecondToTheWholeSecond)
{
    const DateTime a = Of(FromSystem(2020, 5, 1, 10, 0, 0, 100));
    const DateTime sameSecond = Of(FromSystem(2020, 5, 1, 10, 0, 0, 900));
    const DateTime nextSecond = Of(FromSystem(2020, 5, 1, 10, 0, 1));
    EXPECT_TRUE((a <=> sameSecond) == 0);
    EXPECT_TRUE(a == sameSecond);
    EXPECT_TRUE(a < nextSecond);
    EXPECT_TRUE(nextSecond < Of(FromSystem(2020, 5, 2, 0, 0, 0)));
    EXPECT_TRUE(DateTime(5, 86399) < DateTime(6, 0));
    EXPECT_TRUE(DateTime() < a);
    EXPECT_TRUE(DateTime() == DateTime(0, -1));
}

TEST(DateTimeTest, CurrentTimeAndFileTimeRoundTripHoldToTheSecond)
{
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
    const ULONGLONG a = (static_cast<ULONGLONG>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
    const ULONGLONG b = (static_cast<ULONGLONG>(back.dwHighDateTime) << 32) | back.dwLowDateTime;
    EXPECT_EQ(a - a % 10000000, b);
    FILETIME untouched = {1, 2};
    EXPECT_FALSE(DateTime().GetFileTime(untouched));
    EXPECT_EQ(1u, untouched.dwLowDateTime);
}
