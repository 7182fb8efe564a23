#include "support/TestSupport.h"
#include "weftcore.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
// The text as hexadecimal bytes, as the child command takes it.
std::string HexOf(const char* text)
{
    std::string hex;
    char two[3];
    for (const char* p = text; *p; ++p)
    {
        snprintf(two, sizeof two, "%02x", static_cast<unsigned char>(*p));
        hex += two;
    }
    return hex;
}
}  // namespace

TEST(StringUtilsTest, EveryCharacterSurvivesTheRoundTrip)
{
    std::string all;
    for (int c = 1; c < 256; ++c)
        all += static_cast<char>(c);
    all += all;
    const std::vector<int> codes = StringUtils::EncryptText(all.c_str());
    ASSERT_EQ(all.size(), codes.size());
    EXPECT_EQ(CString(all.c_str()), StringUtils::DecryptText(codes));
}

TEST(StringUtilsTest, CodesHideTheTextAndEqualCharactersGetDifferentCodes)
{
    const std::vector<int> codes = StringUtils::EncryptText("aaaa");
    for (int code : codes)
        EXPECT_GT(code, 255);
    EXPECT_NE(codes[0], codes[1]);
    EXPECT_NE(codes[1], codes[2]);
}

TEST(StringUtilsTest, ADamagedTableEndsTheTextWhereItBreaks)
{
    std::vector<int> codes = StringUtils::EncryptText("abcdef");
    codes[3] = 'd';  // a plain character is no code
    EXPECT_EQ(CString("abc"), StringUtils::DecryptText(codes));
    EXPECT_EQ(CString(), StringUtils::DecryptText({}));
    EXPECT_TRUE(StringUtils::EncryptText(nullptr).empty());
}

TEST(StringUtilsTest, AnotherProcessDecodesTheSameTable)
{
    const char* text = "SOFTWARE\\Weft: same text everywhere";
    std::vector<std::string> args = {"decrypt-equals", HexOf(text)};
    for (int code : StringUtils::EncryptText(text))
        args.push_back(std::to_string(code));
    weft::test::ChildProcess child(args);
    ASSERT_TRUE(child.Started());
    EXPECT_EQ(0, child.WaitExit(weft::test::MustHappenMs()));
}

TEST(StringUtilsTest, EffectivelyEmptyMeansNullEmptyOrWhiteSpaceOnly)
{
    EXPECT_TRUE(StringUtils::IsEffectivelyEmpty(nullptr));
    EXPECT_TRUE(StringUtils::IsEffectivelyEmpty(""));
    EXPECT_TRUE(StringUtils::IsEffectivelyEmpty(" \t\r\n\v\f"));
    EXPECT_FALSE(StringUtils::IsEffectivelyEmpty(" x "));
    EXPECT_FALSE(StringUtils::IsEffectivelyEmpty("."));
}

TEST(StringUtilsTest, TrimTakesWhiteSpaceFromBothEndsOnly)
{
    EXPECT_EQ(CString("a b"), StringUtils::Trim("  a b \t\r\n"));
    EXPECT_EQ(CString(), StringUtils::Trim("   "));
    EXPECT_EQ(CString(), StringUtils::Trim(nullptr));
    EXPECT_EQ(CString("C:\\x y\\z.txt"), StringUtils::Trim("C:\\x y\\z.txt"));
}
