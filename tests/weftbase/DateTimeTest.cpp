#include "weftcore.h"

#include <gtest/gtest.h>

namespace
{
FILETIME FromSystem(WORD year, WORD month, WORD day, WORD hour, WORD minute, WORD second, WORD ms = 0)
{
    SYSTEMTIME st = {};
    st.wYear = year;
    st.wMonth = month;
    st.wDay = day;
    st.wHour = hour;
    st.wMinute = minute;
    st.wSecond = second;
    st.wMilliseconds = ms;
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

TEST(DateTimeTest, DefaultIsUnsetDayZeroSecondMinusOne)
{
    DateTime d;
    EXPECT_EQ(0, d.m_nDay);
    EXPECT_EQ(-1, d.m_nSecond);
    EXPECT_FALSE(d.IsValid());
    EXPECT_EQ(CString(), d.Format());
    EXPECT_EQ(8u, sizeof(DateTime));
}

TEST(DateTimeTest, ValidRangeIsDayOneTo3652061AndSecondZeroTo86399)
{
    EXPECT_TRUE(DateTime(1, 0).IsValid());
    EXPECT_TRUE(DateTime(3652061, 86399).IsValid());
    EXPECT_FALSE(DateTime(0, 0).IsValid());
    EXPECT_FALSE(DateTime(3652062, 0).IsValid());
    EXPECT_FALSE(DateTime(1, 86400).IsValid());
    EXPECT_FALSE(DateTime(1, -1).IsValid());
    EXPECT_FALSE(DateTime(-5, 10).IsValid());
}

TEST(DateTimeTest, FileTimesGiveDayNumbersCountedFromTheYearOne)
{
    const DateTime epoch = Of(FromSystem(1601, 1, 1, 0, 0, 1));
    EXPECT_EQ(584389, epoch.m_nDay);
    EXPECT_EQ(1, epoch.m_nSecond);
    const DateTime unix = Of(FromSystem(1970, 1, 1, 0, 0, 0));
    EXPECT_EQ(719163, unix.m_nDay);
    EXPECT_EQ(0, unix.m_nSecond);
    const DateTime leap = Of(FromSystem(2000, 2, 29, 12, 34, 56, 999));
    EXPECT_EQ(730179, leap.m_nDay);
    EXPECT_EQ(12 * 3600 + 34 * 60 + 56, leap.m_nSecond);
    EXPECT_EQ(CString("2000-02-29 12:34:56"), leap.Format());
    const DateTime last = Of(FromSystem(9999, 12, 31, 23, 59, 59));
    EXPECT_EQ(3652059, last.m_nDay);
    EXPECT_EQ(CString("9999-12-31 23:59:59"), last.Format());
    EXPECT_EQ(CString("1900-03-01 00:00:00"), Of(FromSystem(1900, 3, 1, 0, 0, 0)).Format());
}

TEST(DateTimeTest, ZeroAndOutOfRangeFileTimesGiveUnset)
{
    EXPECT_FALSE(Of(FILETIME{0, 0}).IsValid());
    EXPECT_EQ(0, Of(FILETIME{0, 0}).m_nDay);
    // Year 30828: far past the last day.
    EXPECT_FALSE(Of(FILETIME{0xFFFFFFFF, 0x7FFFFFFF}).IsValid());
    EXPECT_EQ(-1, Of(FILETIME{0xFFFFFFFF, 0xFFFFFFFF}).m_nSecond);
}

TEST(DateTimeTest, ComparisonIsByDayThenSecondToTheWholeSecond)
{
    const DateTime a = Of(FromSystem(2020, 5, 1, 10, 0, 0, 100));
    const DateTime sameSecond = Of(FromSystem(2020, 5, 1, 10, 0, 0, 900));
    const DateTime nextSecond = Of(FromSystem(2020, 5, 1, 10, 0, 1));
    const DateTime nextDayEarlier = Of(FromSystem(2020, 5, 2, 0, 0, 0));
    EXPECT_TRUE((a <=> sameSecond) == 0);
    EXPECT_TRUE(a == sameSecond);
    EXPECT_TRUE(a < nextSecond);
    EXPECT_TRUE(nextSecond < nextDayEarlier);
    EXPECT_TRUE(DateTime(5, 86399) < DateTime(6, 0));
    EXPECT_TRUE(DateTime() < a);
    EXPECT_TRUE(DateTime() == DateTime(0, -1));
}

TEST(DateTimeTest, SetToCurrentLiesBetweenTwoReadingsOfTheClock)
{
    FILETIME before, after;
    GetSystemTimeAsFileTime(&before);
    DateTime now;
    now.SetToCurrent();
    GetSystemTimeAsFileTime(&after);
    EXPECT_TRUE(now.IsValid());
    EXPECT_TRUE(Of(before) <= now);
    EXPECT_TRUE(now <= Of(after));
}

TEST(DateTimeTest, FileTimeRoundTripsToTheSecond)
{
    const FILETIME ft = FromSystem(2024, 12, 31, 23, 59, 58, 750);
    FILETIME back = {};
    ASSERT_TRUE(Of(ft).GetFileTime(back));
    EXPECT_TRUE(Of(back) == Of(ft));
    const ULONGLONG a = (static_cast<ULONGLONG>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
    const ULONGLONG b = (static_cast<ULONGLONG>(back.dwHighDateTime) << 32) | back.dwLowDateTime;
    EXPECT_EQ(a - a % 10000000, b);
    FILETIME untouched = {1, 2};
    EXPECT_FALSE(DateTime().GetFileTime(untouched));
    EXPECT_EQ(1u, untouched.dwLowDateTime);
}
