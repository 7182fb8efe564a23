#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

namespace
{
// A letter that names no drive here, or 0.
char UnusedLetter()
{
    const DWORD mask = GetLogicalDrives();
    for (int i = 25; i >= 3; --i)
        if (!(mask & (1u << i)))
            return static_cast<char>('A' + i);
    return 0;
}
}  // namespace

TEST(VolumeUtilsTest, DrivesAreRootPathsInLetterOrderEachWithItsOwnVolumeGuid)
{
    TextArray drives;
    drives.Add("stale");
    ASSERT_TRUE(VolumeUtils::GetDriveLetters(drives));
    bool found = false;
    drives.Find("C:\\", false, found);
    EXPECT_TRUE(found);
    const CString guid = VolumeUtils::GetVolumeGUID("C:\\");
    EXPECT_EQ(0, guid.Find("\\\\?\\Volume{")) << guid.GetString();
    EXPECT_EQ(CString("}\\"), guid.Right(2));
    // Whatever form the drive is given in.
    for (const char* form : {"C:", "c", "C:\\windows\\system32"})
        EXPECT_EQ(guid, VolumeUtils::GetVolumeGUID(form)) << form;
    CString previous;
    for (unsigned long long i = 0; i < drives.GetCount(); ++i)
    {
        const CString d = drives.GetCopyAt(i);
        ASSERT_EQ(3, d.GetLength()) << d.GetString();
        EXPECT_EQ(CString(":\\"), d.Mid(1));
        EXPECT_TRUE(d[0] >= 'A' && d[0] <= 'Z' && (GetLogicalDrives() & (1u << (d[0] - 'A')))) << d.GetString();
        EXPECT_LT(previous.Compare(d), 0);
        previous = d;
        const CString other = VolumeUtils::GetVolumeGUID(d);
        if (d != "C:\\" && !other.IsEmpty())
        {
            EXPECT_NE(guid, other) << d.GetString();
        }
    }
    char label[MAX_PATH + 1] = {};
    ASSERT_TRUE(GetVolumeInformationA("C:\\", label, MAX_PATH, nullptr, nullptr, nullptr, nullptr, 0));
    EXPECT_EQ(CString(label), VolumeUtils::GetVolumeName("C:\\"));
    EXPECT_EQ(CString(label), VolumeUtils::GetVolumeName("C:\\windows"));
}

TEST(VolumeUtilsTest, SpaceFiguresAgreeAndAMissingDriveGivesEmptyTextsAndZeros)
{
    weft::test::TempDir dir("vol");
    unsigned long long total = 0, free = 0, total2 = 0;
    double percent = -1;
    ASSERT_TRUE(VolumeUtils::GetDriveSpaceInfo(dir.Path().c_str(), total, free, percent));
    EXPECT_GT(total, 0u);
    EXPECT_LE(free, total);
    EXPECT_NEAR(static_cast<double>(free) * 100.0 / static_cast<double>(total), percent, 1e-9);
    // Any path on the volume gives the volume's size.
    ASSERT_TRUE(VolumeUtils::GetDriveSpaceInfo((dir / "no such file.txt").c_str(), total2, free, percent));
    EXPECT_EQ(total, total2);

    EXPECT_FALSE(VolumeUtils::GetDriveSpaceInfo(nullptr, total, free, percent));
    EXPECT_EQ(CString(), VolumeUtils::GetVolumeGUID(""));
    EXPECT_EQ(CString(), VolumeUtils::GetVolumeName(nullptr));
    const char letter = UnusedLetter();
    if (letter == 0)
        GTEST_SKIP() << "every drive letter is in use";
    const char drive[4] = {letter, ':', '\\', 0};
    EXPECT_EQ(CString(), VolumeUtils::GetVolumeGUID(drive));
    EXPECT_EQ(CString(), VolumeUtils::GetVolumeName(drive));
    total = free = 7;
    percent = 7;
    EXPECT_FALSE(VolumeUtils::GetDriveSpaceInfo(drive, total, free, percent));
    EXPECT_EQ(0u, total);
    EXPECT_EQ(0u, free);
    EXPECT_EQ(0.0, percent);
}
