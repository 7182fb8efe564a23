// A moment to the second, as two 32-bit fields: the day number and the second of that day.
//
// Day 1 is 1 January of the year 1 (Gregorian calendar, also before its introduction); the
// second of the day runs from 0 to 86399. The moment is in UTC, as file times and the system
// clock give it. A DateTime is set when m_nDay is 1 to 3652059 (9999-12-31, the last day that
// "YYYY-MM-DD" can show; callers count days up to 3652061 as set, which takes in every value made
// here) and m_nSecond 0 to 86399; the unset value is day 0, second -1, which is also what the
// default constructor gives.
//
// Comparison is by day, then second, with operator<=>; so two values compare equal when they
// fall in the same second.
#pragma once

#include "weftbase/WeftBaseApi.h"

#include <afx.h>

#include <compare>

class WEFTBASE_API DateTime
{
public:
    static constexpr int FirstDay = 1;
    static constexpr int LastDay = 3652059;
    static constexpr int SecondsPerDay = 86400;

    // Unset: day 0, second -1.
    DateTime();
    // The fields as given, unchecked; IsValid tells whether they make a moment.
    DateTime(int day, int second);

    // The present moment, from the system clock (UTC), cut to the whole second.
    void SetToCurrent();
    // The moment of a file time (UTC), cut to the whole second. A zero file time, which the
    // file systems give for a time they do not keep, and a time past the last day give unset.
    void Set(const FILETIME& fileTime);
    // Back to unset.
    void Clear();

    bool IsValid() const;
    // The file time of the moment; false, and the argument untouched, when unset.
    bool GetFileTime(FILETIME& fileTime) const;
    // "YYYY-MM-DD hh:mm:ss" (UTC), or the empty text when unset.
    CString Format() const;

    // By day, then second: the order of the members.
    std::strong_ordering operator<=>(const DateTime& other) const = default;
    bool operator==(const DateTime& other) const = default;

    int m_nDay;
    int m_nSecond;
};
