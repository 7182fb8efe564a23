#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

TEST(StringUtilsTest, EveryCharacterSurvivesTheRoundTripTheCodesNeverChangeAndADamagedTableEndsTheText)
{
    std::string all;
    for (int c = 1; c < 256; ++c)
        all += static_cast<char>(c);
    all += all;
    const std::vector<int> codes = StringUtils::EncryptText(all.c_str());
    ASSERT_EQ(all.size(), codes.size());
    EXPECT_EQ(CString(all.c_str()), StringUtils::DecryptText(codes));
    // Tables made once are kept in the sources: the same text gives the same codes in every process.
    EXPECT_EQ((std::vector<int>{0x1C4, 0x1D4, 0x1A4}), StringUtils::EncryptText("abc"));
    EXPECT_EQ(CString("abc"), StringUtils::DecryptText({0x1C4, 0x1D4, 0x1A4}));
    for (int code : codes)
        EXPECT_GT(code, 255);  // no code shows its character
    const std::vector<int> same = StringUtils::EncryptText("aaa");
    EXPECT_NE(same[0], same[1]);
    EXPECT_NE(same[1], same[2]);
    std::vector<int> damaged = StringUtils::EncryptText("abcdef");
    damaged[3] = 'd';  // a plain character is no code
    EXPECT_EQ(CString("abc"), StringUtils::DecryptText(damaged));
    EXPECT_EQ(CString(), StringUtils::DecryptText({}));
    EXPECT_TRUE(StringUtils::EncryptText(nullptr).empty());

    // Trim and IsEffectivelyEmpty agree on white space.
    const std::pair<const char*, const char*> cases[] = {{nullptr, ""},       {"", ""},
                                                         {" \t\r\n\v\f", ""}, {"  a b \t\r\n", "a b"},
                                                         {".", "."},          {"C:\\x y\\z.txt", "C:\\x y\\z.txt"}};
    for (const auto& [text, trimmed] : cases)
    {
        EXPECT_EQ(CString(trimmed), StringUtils::Trim(text)) << (text ? text : "(null)");
        EXPECT_EQ(*trimmed == 0, StringUtils::IsEffectivelyEmpty(text)) << (text ? text : "(null)");
    }
}
