#include "weftbase/DateTime.h"

namespace
{
// Day number of 1 January 1601, where file times start: 1600 years of 365 days and 388 leap days.
constexpr long long FileTimeFirstDay = 584389;
constexpr unsigned long long TicksPerSecond = 10000000ull;

struct CivilDate
{
    int year, month, day;
};

// Civil date of a day number (day 1 = 0001-01-01), by whole 400-year cycles of 146097 days.
CivilDate CivilFromDay(int day)
{
    // Days since 0000-03-01, so that the leap day falls at the end of the counted year.
    long long z = static_cast<long long>(day) + 305;
    const long long era = z / 146097;
    const long long doe = z - era * 146097;
    const long long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const long long mp = (5 * doy + 2) / 153;
    const int month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    return {static_cast<int>(yoe + era * 400 + (month <= 2 ? 1 : 0)), month,
            static_cast<int>(doy - (153 * mp + 2) / 5 + 1)};
}
}  // namespace

DateTime::DateTime() : m_nDay(0), m_nSecond(-1)
{
}

DateTime::DateTime(int day, int second) : m_nDay(day), m_nSecond(second)
{
}

void DateTime::SetToCurrent()
{
    FILETIME now;
    ::GetSystemTimeAsFileTime(&now);
    Set(now);
}

void DateTime::Set(const FILETIME& fileTime)
{
    const unsigned long long ticks =
        (static_cast<unsigned long long>(fileTime.dwHighDateTime) << 32) | fileTime.dwLowDateTime;
    const unsigned long long seconds = ticks / TicksPerSecond;
    const unsigned long long day = seconds / SecondsPerDay + FileTimeFirstDay;
    if (ticks == 0 || day > static_cast<unsigned long long>(LastDay))
    {
        Clear();
        return;
    }
    m_nDay = static_cast<int>(day);
    m_nSecond = static_cast<int>(seconds % SecondsPerDay);
}

void DateTime::Clear()
{
    m_nDay = 0;
    m_nSecond = -1;
}

bool DateTime::IsValid() const
{
    return m_nDay >= FirstDay && m_nDay <= LastDay && m_nSecond >= 0 && m_nSecond < SecondsPerDay;
}

bool DateTime::GetFileTime(FILETIME& fileTime) const
{
    if (!IsValid() || m_nDay < FileTimeFirstDay)
        return false;
    const unsigned long long seconds =
        static_cast<unsigned long long>(m_nDay - FileTimeFirstDay) * SecondsPerDay + static_cast<unsigned>(m_nSecond);
    const unsigned long long ticks = seconds * TicksPerSecond;
    fileTime.dwLowDateTime = static_cast<DWORD>(ticks);
    fileTime.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return true;
}

CString DateTime::Format() const
{
    CString text;
    if (!IsValid())
        return text;
    const auto [year, month, day] = CivilFromDay(m_nDay);
    text.Format("%04d-%02d-%02d %02d:%02d:%02d", year, month, day, m_nSecond / 3600, m_nSecond / 60 % 60,
                m_nSecond % 60);
    return text;
}
