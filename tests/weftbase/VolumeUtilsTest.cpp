#include "WeftBaseTestFiles.h"

#include <gtest/gtest.h>

namespace
{
// A letter before the one given that names no drive here, or 0.
char UnusedLetter(char before = 'Z' + 1)
{
    const DWORD mask = GetLogicalDrives();
    for (int i = before - 'A' - 1; i >= 3; --i)
        if (!(mask & (1u << i)))
            return static_cast<char>('A' + i);
    return 0;
}

}  // namespace

TEST(VolumeUtilsTest, DrivesAreRootPathsInLetterOrderEachWithItsOwnVolumeGuidOrTextAndSpaceFiguresAgree)
{
    const weft::test::DriveListTurn turn;  // the drives it defines would be told to a drive watcher
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
    for (unsigned long long i = 0; i < drives.GetCount(); previous = drives.GetCopyAt(i++))
    {
        const CString d = drives.GetCopyAt(i);
        EXPECT_TRUE(d.GetLength() == 3 && d.Mid(1) == ":\\" && (GetLogicalDrives() & (1u << (d[0] - 'A'))))
            << d.GetString();
        EXPECT_LT(previous.Compare(d), 0);
        EXPECT_TRUE(d == "C:\\" || VolumeUtils::GetVolumeGUID(d) != guid) << d.GetString();
    }
    char label[MAX_PATH + 1] = {};
    ASSERT_TRUE(GetVolumeInformationA("C:\\", label, MAX_PATH, nullptr, nullptr, nullptr, nullptr, 0));
    EXPECT_EQ(CString(label), VolumeUtils::GetVolumeName("C:\\"));
    EXPECT_EQ(CString(label), VolumeUtils::GetVolumeName("C:\\windows"));

    // Space figures agree; a missing drive gives empty texts and zeros.
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

    // Drives without a volume GUID, as "subst" makes them: each gets a text of its own.
    const char first[3] = {letter, ':', 0}, second[3] = {UnusedLetter(letter), ':', 0};
    ASSERT_NE(0, second[0]) << "a second free drive letter";
    ASSERT_TRUE(DefineDosDeviceA(0, first, dir.Path().c_str()));
    EXPECT_TRUE(DefineDosDeviceA(0, second, "C:\\windows"));
    const CString firstText = VolumeUtils::GetVolumeGUID(drive), secondText = VolumeUtils::GetVolumeGUID(second);
    DefineDosDeviceA(DDD_REMOVE_DEFINITION | DDD_EXACT_MATCH_ON_REMOVE, first, dir.Path().c_str());
    DefineDosDeviceA(DDD_REMOVE_DEFINITION | DDD_EXACT_MATCH_ON_REMOVE, second, "C:\\windows");
    EXPECT_EQ(letter, firstText[0]) << firstText.GetString();
    EXPECT_EQ(second[0], secondText[0]) << secondText.GetString();
    EXPECT_EQ(CString(), VolumeUtils::GetVolumeGUID(drive));
}
