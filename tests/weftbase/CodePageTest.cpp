// Path texts and registry names under a double-byte code page, in a child process that runs under
// code page 932 (the checks themselves are the child's "double-byte-checks").
#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

TEST(CodePageTest, DoubleByteNamesAreSplitByCharacterAndLongKeyNamesAreWalked)
{
    weft::test::TempDir dir("cp932");
    const std::string key = "Software\\" + weft::test::UniqueName("cp932");
    const long result = weft::test::RunInCodePage("ja-JP", {"double-byte-checks", dir / "cp", key});
    RegDeleteTreeA(HKEY_CURRENT_USER, key.c_str());
    if (result == 77)
        GTEST_SKIP() << "this system does not run a program under the code page its manifest asks for";
    EXPECT_EQ(100, result) << "100: all checks hold; -1: no end in time; else failed checks";
}
