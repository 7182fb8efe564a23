// Tour: a few facts from the utility library: drives and their space, registry texts, dates.
#include "TourSteps.h"

#include "weftcore.h"

WEFT_TOUR_STEP(UtilityTour, 20, "Utility library: drives, space, registry texts, dates")
{
    using weft::tour::Say;
    TextArray drives;
    VolumeUtils::GetDriveLetters(drives);
    Say("%llu drives", drives.GetCount());
    for (unsigned long long i = 0; i < drives.GetCount(); ++i)
    {
        const CString drive = drives.GetCopyAt(i);
        unsigned long long total = 0, free = 0;
        double percent = 0;
        if (VolumeUtils::GetDriveSpaceInfo(drive, total, free, percent))
        {
            const CString share =
                NumberTextConv::DoubleToString(percent, LocaleUtils::GetNumberFractionalDigits(), false, 0, "", false);
            Say("%s  %s free of %s (%s%%), volume %s \"%s\"", drive.GetString(),
                NumberTextConv::ConvertBytesToString(free).GetString(),
                NumberTextConv::ConvertBytesToString(total).GetString(), share.GetString(),
                VolumeUtils::GetVolumeGUID(drive).GetString(), VolumeUtils::GetVolumeName(drive).GetString());
        }
        else
            Say("%s  no figures (no medium?)", drive.GetString());
    }

    const char* key = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
    TextArray names;
    RegistryUtils::GetKeyValues(HKEY_LOCAL_MACHINE, key, names);
    Say("HKLM\\%s holds %llu values, for instance:", key, names.GetCount());
    for (const char* name : {"ProductName", "CurrentBuildNumber", "CurrentMajorVersionNumber", "SystemRoot"})
    {
        CString text;
        unsigned long type = 0;
        if (RegistryUtils::GetKeyValue(HKEY_LOCAL_MACHINE, key, name, false, text, type))
            Say("  %-26s (type %lu) = %s", name, type, text.GetString());
    }

    DateTime now;
    now.SetToCurrent();
    Say("now (UTC): %s, day %d, second %d", now.Format().GetString(), now.m_nDay, now.m_nSecond);
    char exe[MAX_PATH + 1] = {};
    GetModuleFileNameA(nullptr, exe, MAX_PATH);
    unsigned long long size = 0;
    DateTime built;
    FileUtils::GetFileInfoCore(exe, size, built);
    Say("this program: %s, %s, written %s (UTC)", FileUtils::ParseFileNameFromPath(exe, true).GetString(),
        NumberTextConv::ConvertBytesToString(size).GetString(), built.Format().GetString());
}
