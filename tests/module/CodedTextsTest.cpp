#include "support/TestSupport.h"
#include "weftcore.h"

#include "module/CodedTexts.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
CString Text(const std::vector<int>& table)
{
    return StringUtils::DecryptText(table);
}

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

bool Printable(const CString& text)
{
    for (int i = 0; i < text.GetLength(); ++i)
        if (static_cast<unsigned char>(text[i]) < 32 || static_cast<unsigned char>(text[i]) > 126)
            return false;
    return !text.IsEmpty();
}
}  // namespace

TEST(CodedTextsTest, RegistryMonitorTextsFitTheirRoles)
{
    EXPECT_TRUE(Printable(Text(CodedTexts::RegBadKeyText))) << Text(CodedTexts::RegBadKeyText).GetString();

    // The prefix starts a key path below HKEY_LOCAL_MACHINE that exists.
    const CString prefix = Text(CodedTexts::RegLocalMachinePrefix);
    ASSERT_TRUE(Printable(prefix));
    EXPECT_NE('\\', prefix[0]);
    HKEY key = nullptr;
    EXPECT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_LOCAL_MACHINE, prefix + "Microsoft", 0, KEY_READ, &key))
        << prefix.GetString();
    if (key)
        RegCloseKey(key);
    EXPECT_EQ(0, CString("SOFTWARE\\Classes").Find(prefix));
    EXPECT_NE(0, CString("Software\\Classes").Find(prefix)) << "the prefix test is case-sensitive";

    // The lead text stands before a system error text.
    const CString lead = Text(CodedTexts::RegErrorLeadText);
    ASSERT_TRUE(Printable(lead));
    EXPECT_EQ(CString(": "), lead.Right(2));
}

TEST(CodedTextsTest, ShellLauncherTextsFitTheirRoles)
{
    EXPECT_TRUE(Printable(Text(CodedTexts::ShellEmptyFileText)));
    const CString ext = Text(CodedTexts::ShellArgumentExtension);
    ASSERT_TRUE(Printable(ext));
    // In the form FileUtils::GetFileExt gives, so that a comparison with it can hold.
    EXPECT_EQ(0, FileUtils::GetFileExt("C:\\Tools\\app." + ext).CompareNoCase(ext));
    EXPECT_EQ(0, FileUtils::GetFileExt("C:\\Tools\\APP.EXE").CompareNoCase(ext));
    const CString lead = Text(CodedTexts::ShellTimeoutLeadText);
    ASSERT_TRUE(Printable(lead));
    EXPECT_EQ(CString(": "), lead.Right(2));
}

TEST(CodedTextsTest, TheSingleInstanceTextLeavesANonEmptyName)
{
    const CString strip = Text(CodedTexts::SingleInstanceStripText);
    ASSERT_TRUE(Printable(strip));
    for (const char* name : {"C__Tools_My_App.exe", "C__a.exe", "Z__work_build_bin_x.exe"})
    {
        CString n(name);
        EXPECT_EQ(1, n.Replace(strip, ""));
        EXPECT_FALSE(n.IsEmpty());
        EXPECT_EQ(-1, n.Find('\\'));
    }
}

TEST(CodedTextsTest, AnotherProcessDecodesEachTableToTheSameText)
{
    const std::vector<int>* tables[] = {&CodedTexts::RegBadKeyText,        &CodedTexts::RegLocalMachinePrefix,
                                        &CodedTexts::RegErrorLeadText,     &CodedTexts::ShellEmptyFileText,
                                        &CodedTexts::ShellArgumentExtension, &CodedTexts::ShellTimeoutLeadText,
                                        &CodedTexts::SingleInstanceStripText};
    for (const std::vector<int>* table : tables)
    {
        std::vector<std::string> args = {"decrypt-equals", HexOf(Text(*table))};
        for (int code : *table)
            args.push_back(std::to_string(code));
        weft::test::ChildProcess child(args);
        ASSERT_TRUE(child.Started());
        EXPECT_EQ(0, child.WaitExit(weft::test::MustHappenMs())) << Text(*table).GetString();
    }
}
