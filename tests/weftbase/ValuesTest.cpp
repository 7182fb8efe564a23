// The utility library's values: dates, numbers, handles, coded texts, names, addresses, text lists.
#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <cmath>

// Day numbers count from the year one; the last valid day is 9999-12-31.
TEST(DateTimeTest, FileTimesGiveDayNumbersFromTheYearOneToTheLastDayOf9999)
{
    const std::tuple<SYSTEMTIME, int, int, const char*> cases[] = {
        {{1601, 1, 0, 1, 0, 0, 1, 0}, 584389, 1, "1601-01-01 00:00:01"},
        {{1970, 1, 0, 1, 0, 0, 0, 0}, 719163, 0, "1970-01-01 00:00:00"},
        {{2000, 2, 0, 29, 12, 34, 56, 999}, 730179, 45296, "2000-02-29 12:34:56"},
        {{2000, 1, 0, 31, 0, 0, 0, 0}, 730150, 0, "2000-01-31 00:00:00"},
        {{1601, 1, 0, 1, 0, 0, 0, 0}, 0, -1, ""}, {{2000, 3, 0, 1, 0, 0, 0, 0}, 730180, 0, "2000-03-01 00:00:00"},
        {{10000, 1, 0, 1, 0, 0, 0, 0}, 0, -1, ""}, {{1900, 3, 0, 1, 0, 0, 0, 0}, 693655, 0, "1900-03-01 00:00:00"},
        {{9999, 12, 0, 31, 23, 59, 59, 0}, 3652059, 86399, "9999-12-31 23:59:59"},
    };
    for (const auto& [st, day, second, text] : cases)
    {
        FILETIME ft = {}, back = {7, 7};  // back: the file time again, cut to the second; untouched when unset
        SystemTimeToFileTime(&st, &ft);
        DateTime d;
        d.Set(ft);
        EXPECT_EQ(std::make_tuple(day, second, CString(text)), std::make_tuple(d.m_nDay, d.m_nSecond, d.Format()));
        const ULONGLONG ticks = (ULONGLONG(ft.dwHighDateTime) << 32 | ft.dwLowDateTime) / 10000000 * 10000000;
        EXPECT_EQ(day != 0, d.GetFileTime(back));
        EXPECT_EQ(day ? ticks : 0x700000007ull, ULONGLONG(back.dwHighDateTime) << 32 | back.dwLowDateTime);
    }
    for (FILETIME ft; const DateTime& bad : {DateTime(3652060, 0), DateTime(1, 86400), DateTime(1, -1), DateTime(0, 0)})
        EXPECT_FALSE(bad.IsValid() || bad.GetFileTime(ft)) << bad.m_nDay << " " << bad.m_nSecond;
    EXPECT_TRUE(DateTime() == DateTime(0, -1)) << "an unset time is not the one an unset file time gives";
}

// Numbers take the user's separators and grouping (settings all programs share: put back at once).
TEST(NumberTextConvTest, TextsFollowTheUsersSeparatorsAndGrouping)
{
    std::pair<LCTYPE, std::string> saved[] = {
        {LOCALE_SGROUPING, "3;2;0"}, {LOCALE_SDECIMAL, ","}, {LOCALE_STHOUSAND, "."}, {LOCALE_IDIGITS, "3"}};
    for (auto& [type, text] : saved)
    {
        char old[16] = {};
        GetLocaleInfoA(LOCALE_USER_DEFAULT, type, old, sizeof old);
        EXPECT_TRUE(SetLocaleInfoA(LOCALE_USER_DEFAULT, type, text.c_str()));
        text = old;
    }
    CString texts = NumberTextConv::DoubleToString(-1234567.125001, 2, true, 0, "", false) + "|" +
                    NumberTextConv::DoubleToString(-0.001, 2, false, 0, "", false) + "|" +
                    NumberTextConv::DoubleToString(2.5, 3, false, 8, "MB", true) + "|" +
                    NumberTextConv::DoubleToString(3, 2, true, 0, "", true) + "|" +
                    NumberTextConv::DoubleToString(NAN, 2, true, 0, "", true) + "|" +
                    NumberTextConv::DoubleToString(-INFINITY, 2, true, 0, "", true) + "|" +
                    NumberTextConv::NumberToString(10000000, true) + "|" +
                    NumberTextConv::NumberToString(1234567, false) + "|" +
                    NumberTextConv::DoubleToString(1, 21, false, 0, "", false) + "|" +
                    std::to_string(LocaleUtils::GetNumberFractionalDigits()).c_str();
    // Byte counts: three significant digits, cut and not rounded.
    for (unsigned long long bytes :
         {0ull, 1ull, 1023ull, 1024ull, 1536ull, 2047ull, 10240ull, 102400ull, 1048575ull, 1048576ull, 16672359ull,
          161061273600ull, 9223372036854775807ull, ~0ull})
        texts += "|" + NumberTextConv::ConvertBytesToString(bytes);
    for (const auto& [type, text] : saved)
        SetLocaleInfoA(LOCALE_USER_DEFAULT, type, text.c_str());
    EXPECT_EQ(CString("-12.34.567,13|0,00|  2,5 MB|3|NaN|-Infinity|1.00.00.000|1234567|1,00000000000000000000|3|"
                      "0 bytes|1 byte|1023 bytes|1,00 KB|1,50 KB|1,99 KB|10,0 KB|100 KB|1023 KB|1,00 MB|15,9 MB|"
                      "150 GB|7,99 EB|15,9 EB"),
              texts);
}

// Reassignment (not to itself), Close and destruction close the handle held; a move or Detach hands it on.
TEST(SmartHANDLETest, AssignmentAndDestructionCloseTheHandleHeldKeepingTheLastError)
{
    const auto open = [](HANDLE h) { return WaitForSingleObject(h, 0) != WAIT_FAILED; };
    HANDLE first = CreateEventA(nullptr, TRUE, FALSE, nullptr), second = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    {
        SmartHANDLE h(first);
        h = first;
        EXPECT_TRUE(open(first));
        SetLastError(ERROR_ALREADY_EXISTS);
        h = second;
        EXPECT_TRUE(GetLastError() == ERROR_ALREADY_EXISTS && !open(first));
    }
    EXPECT_FALSE(open(second));
    HANDLE third = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    SmartHANDLE a(third), b;
    b = std::move(a);
    SmartHANDLE c(std::move(b));
    EXPECT_TRUE(!a.IsValid() && !b.IsValid() && HANDLE(c) == third && c.Detach() == third && !c.IsValid());
    c = third;
    c.Close();
    EXPECT_TRUE(!open(third) && !c.IsValid() && !SmartHANDLE(INVALID_HANDLE_VALUE).IsValid());
}

// Every character survives the coding; a code that is no code ends the decoded text; blanks are six. An
// address has a scheme of two letters or more, or starts with "www." or "ftp.". A name goes to the code
// page exactly or says it did not: the default character, never a look-alike. A list's Find gives the
// index and says whether it found it, also when the answer is "no"; edits keep to the range.
TEST(StringUtilsTest, TextsAreCodedConvertedToldAndListedAsDocumented)
{
    std::string all;
    for (int c = 1; c < 256; ++c)
        all += static_cast<char>(c);
    std::vector<int> codes = StringUtils::EncryptText(all.c_str());
    EXPECT_EQ(CString(all.c_str()), StringUtils::DecryptText(codes));
    codes[3] = 'd';
    EXPECT_EQ(CString("\x01\x02\x03"), StringUtils::DecryptText(codes));
    EXPECT_TRUE(StringUtils::IsEffectivelyEmpty(" \t\r\n\v\f") && StringUtils::IsEffectivelyEmpty(nullptr));
    EXPECT_TRUE(!StringUtils::IsEffectivelyEmpty(" x ") && StringUtils::Trim(" \fx y\v\n") == "x y");
    const std::pair<const char*, bool> addresses[] = {
        {"http://example.com/x.html", true}, {"mailto:x@example.com", true}, {" \tWWW.example.com/page", true},
        {"ftp.example.com", true},           {"C:\\dir\\file.txt", false},   {"c:file.txt:stream", false},
        {nullptr, false},                    {"1http://example.com", false}};
    for (const auto& [path, internet] : addresses)
        EXPECT_EQ(internet, InternetUtils::IsInternetFile(path)) << (path ? path : "(null)");
    const std::tuple<const wchar_t*, int, std::string, bool> names[] = {
        {L"caf\u00e9", -1, "caf\xe9", true},        {L"a\uff3cb", -1, "a?b", false}, {L"\u4e00", -1, "?", false},
        {L"a\0b", 3, std::string("a\0b", 3), true}, {nullptr, -1, "", true},         {L"x\xd800", -1, "x?", false},
        {L"ab", 0, "", true},                       {L"\u00e9", -1, "\xe9", true}};
    for (const auto& [wide, length, narrow, exact] : names)
    {
        CString out("stale");
        EXPECT_EQ(exact, CodePageText::ToCodePage(wide, length, out)) << narrow;
        EXPECT_EQ(narrow, std::string(out.GetString(), out.GetLength()));
    }
    EXPECT_TRUE(CodePageText::ToWide("caf\xe9") == L"caf\u00e9" && CodePageText::ToWide(nullptr).empty());
    EXPECT_TRUE(CodePageText::IsDots(L".") && CodePageText::IsDots(L"..") && !CodePageText::IsDots(L"...") &&
                !CodePageText::IsDots(L".a"));
    const TextArray list = weft::test::Texts({"c:\\dir\\", "b", "C:\\Dir\\", "other"});
    const std::tuple<const char*, bool, unsigned long long, bool> finds[] = {
        {"C:\\Dir\\", false, 2, true}, {"C:\\DIR\\", true, 0, true}, {"c:\\DIR\\", false, 4, false}};
    bool found = false;  // set to the opposite of what Find must give
    for (const auto& [text, ignoreCase, index, expectFound] : finds)
        EXPECT_TRUE(list.Find(text, ignoreCase, found = !expectFound) == index && found == expectFound) << text;
    TextArray edited;  // out of range, an edit changes nothing and says so; an insert appends
    EXPECT_TRUE((edited.Append(list), !edited.Remove(4)) && !edited.SetAt(4, "x") && edited.GetCopyAt(4).IsEmpty());
    EXPECT_TRUE(edited.Insert(9, "end") == 4 && edited.Insert(1, "0") == 1 && edited.Remove(1) && edited.SetAt(1, "B"));
    EXPECT_EQ("c:\\dir\\|B|C:\\Dir\\|other|end|", weft::test::Join(edited));
}
