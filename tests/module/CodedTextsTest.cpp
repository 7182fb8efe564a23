#include "weftcore.h"

#include "module/CodedTexts.h"

#include <gtest/gtest.h>

namespace
{
CString Text(const std::vector<int>& table)
{
    return StringUtils::DecryptText(table);
}
}  // namespace

TEST(CodedTextsTest, EveryTableDecodesToAPrintableText)
{
    const std::vector<int>* tables[] = {&CodedTexts::RegBadKeyText,          &CodedTexts::RegLocalMachinePrefix,
                                        &CodedTexts::RegErrorLeadText,       &CodedTexts::ShellEmptyFileText,
                                        &CodedTexts::ShellArgumentExtension, &CodedTexts::ShellTimeoutLeadText,
                                        &CodedTexts::SingleInstanceStripText};
    for (const std::vector<int>* table : tables)
    {
        const CString text = Text(*table);
        EXPECT_FALSE(text.IsEmpty());
        for (int i = 0; i < text.GetLength(); ++i)
            EXPECT_TRUE(text[i] >= 32 && text[i] <= 126) << text.GetString();
    }
    // Lead texts stand before a system error text.
    EXPECT_EQ(CString(": "), Text(CodedTexts::RegErrorLeadText).Right(2));
    EXPECT_EQ(CString(": "), Text(CodedTexts::ShellTimeoutLeadText).Right(2));
}

TEST(CodedTextsTest, PrefixExtensionAndStripTextFitTheirRoles)
{
    // The prefix starts a key path below HKEY_LOCAL_MACHINE that exists; the test is case-sensitive.
    const CString prefix = Text(CodedTexts::RegLocalMachinePrefix);
    EXPECT_NE('\\', prefix[0]);
    HKEY key = nullptr;
    EXPECT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_LOCAL_MACHINE, prefix + "Microsoft", 0, KEY_READ, &key))
        << prefix.GetString();
    if (key)
        RegCloseKey(key);
    EXPECT_EQ(0, CString("SOFTWARE\\Classes").Find(prefix));
    EXPECT_NE(0, CString("Software\\Classes").Find(prefix));

    // The extension in the form FileUtils::GetFileExt gives, so that a comparison with it can hold.
    const CString ext = Text(CodedTexts::ShellArgumentExtension);
    EXPECT_EQ(0, FileUtils::GetFileExt("C:\\Tools\\app." + ext).CompareNoCase(ext));
    EXPECT_EQ(0, FileUtils::GetFileExt("C:\\Tools\\APP.EXE").CompareNoCase(ext));

    // The single-instance strip text leaves a non-empty name.
    const CString strip = Text(CodedTexts::SingleInstanceStripText);
    for (const char* name : {"C__Tools_My_App.exe", "C__a.exe", "Z__work_build_bin_x.exe"})
    {
        CString n(name);
        EXPECT_EQ(1, n.Replace(strip, ""));
        EXPECT_FALSE(n.IsEmpty());
        EXPECT_EQ(-1, n.Find('\\'));
    }
}
