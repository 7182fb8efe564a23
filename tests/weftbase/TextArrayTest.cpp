#include "weftcore.h"

#include <gtest/gtest.h>

namespace
{
TextArray Make(std::initializer_list<const char*> texts)
{
    TextArray list;
    for (const char* t : texts)
        list.Add(t);
    return list;
}

std::string Join(const TextArray& list)
{
    std::string all;
    for (unsigned long long i = 0; i < list.GetCount(); ++i)
        all += std::string(list.GetCopyAt(i)) + "|";
    return all;
}
}  // namespace

TEST(TextArrayTest, AddAppendsInOrderAndGivesTheIndex)
{
    TextArray list;
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(0u, list.Add("a"));
    EXPECT_EQ(1u, list.Add("b"));
    EXPECT_EQ(2u, list.Add(""));
    EXPECT_EQ(3u, list.GetCount());
    EXPECT_FALSE(list.IsEmpty());
    EXPECT_EQ("a|b||", Join(list));
}

TEST(TextArrayTest, InsertAtZeroPutsTheTextFirstAndPastTheEndAppends)
{
    TextArray list = Make({"b", "c"});
    EXPECT_EQ(0u, list.Insert(0, "a"));
    EXPECT_EQ(3u, list.Insert(99, "d"));
    EXPECT_EQ(2u, list.Insert(2, "x"));
    EXPECT_EQ("a|b|x|c|d|", Join(list));
}

TEST(TextArrayTest, RemoveShiftsTheRestAndOutOfRangeIsHarmless)
{
    TextArray list = Make({"a", "b", "c"});
    EXPECT_TRUE(list.Remove(1));
    EXPECT_EQ("a|c|", Join(list));
    EXPECT_FALSE(list.Remove(2));
    EXPECT_FALSE(list.SetAt(5, "z"));
    EXPECT_EQ(CString(), list.GetCopyAt(2));
    EXPECT_EQ(CString(), list.GetCopyAt(~0ull));
    EXPECT_TRUE(list.SetAt(0, "z"));
    EXPECT_EQ("z|c|", Join(list));
    list.RemoveAll();
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(0u, list.GetCount());
}

TEST(TextArrayTest, FindIsExactUnlessAskedToIgnoreCaseAndSetsFound)
{
    TextArray list = Make({"C:\\Dir\\", "c:\\dir\\", "other"});
    bool found = false;
    EXPECT_EQ(1u, list.Find("c:\\dir\\", false, found));
    EXPECT_TRUE(found);
    EXPECT_EQ(0u, list.Find("c:\\DIR\\", true, found));
    EXPECT_TRUE(found);
    found = true;
    EXPECT_EQ(3u, list.Find("c:\\DIR\\", false, found));
    EXPECT_FALSE(found);
    found = true;
    EXPECT_EQ(3u, list.Find("oth", false, found));
    EXPECT_FALSE(found);
    EXPECT_EQ(0u, TextArray().Find("x", true, found));
    EXPECT_FALSE(found);
}

TEST(TextArrayTest, CopiesAreIndependent)
{
    TextArray original = Make({"a", "b"});
    TextArray copy(original);
    TextArray assigned;
    assigned.Add("old");
    assigned = original;
    copy.Add("c");
    assigned.SetAt(0, "z");
    original.Remove(0);
    EXPECT_EQ("b|", Join(original));
    EXPECT_EQ("a|b|c|", Join(copy));
    EXPECT_EQ("z|b|", Join(assigned));
    assigned = assigned;
    EXPECT_EQ("z|b|", Join(assigned));
}

TEST(TextArrayTest, AppendOfItselfDoublesTheList)
{
    TextArray list = Make({"a", "b"});
    list.Append(list);
    EXPECT_EQ("a|b|a|b|", Join(list));
    list.Append(Make({"c"}));
    EXPECT_EQ("a|b|a|b|c|", Join(list));
}
