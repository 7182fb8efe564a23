#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

#include <tuple>

using weft::test::Join;
using weft::test::Texts;

TEST(TextArrayTest, EditsKeepTheOrderOutOfRangeIsHarmlessCopiesAreIndependentAndFindTellsWhetherFound)
{
    TextArray list = Texts({"b", "c"});
    EXPECT_EQ(2u, list.Add(""));
    EXPECT_EQ(0u, list.Insert(0, "a"));
    EXPECT_EQ(4u, list.Insert(99, "d"));  // past the end appends
    EXPECT_EQ(2u, list.Insert(2, "x"));
    EXPECT_EQ("a|b|x|c||d|", Join(list));
    EXPECT_TRUE(list.Remove(1));
    EXPECT_FALSE(list.Remove(5));
    EXPECT_FALSE(list.SetAt(5, "z"));
    EXPECT_EQ(CString(), list.GetCopyAt(5));
    EXPECT_EQ(CString(), list.GetCopyAt(~0ull));
    EXPECT_TRUE(list.SetAt(0, "z"));
    EXPECT_EQ("z|x|c||d|", Join(list));
    list.RemoveAll();
    EXPECT_TRUE(list.IsEmpty());

    TextArray original = Texts({"a", "b"});
    TextArray copy(original);
    TextArray assigned = Texts({"old"});
    assigned = original;
    copy.Add("c");
    assigned.SetAt(0, "z");
    original.Append(original);
    EXPECT_EQ("a|b|a|b|", Join(original));
    EXPECT_EQ("a|b|c|", Join(copy));
    assigned = assigned;
    EXPECT_EQ("z|b|", Join(assigned));

    // Find is exact unless asked to ignore case.
    list = Texts({"C:\\Dir\\", "c:\\dir\\", "other"});
    const std::tuple<const char*, bool, unsigned long long, bool> cases[] = {{"c:\\dir\\", false, 1, true},
                                                                             {"c:\\DIR\\", true, 0, true},
                                                                             {"c:\\DIR\\", false, 3, false},
                                                                             {"oth", false, 3, false}};
    for (const auto& [text, ignoreCase, index, expectFound] : cases)
    {
        bool found = !expectFound;
        EXPECT_EQ(index, list.Find(text, ignoreCase, found)) << text;
        EXPECT_EQ(expectFound, found) << text;
    }
    bool found = true;
    EXPECT_EQ(0u, TextArray().Find("x", true, found));
    EXPECT_FALSE(found);
}
