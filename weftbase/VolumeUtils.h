// Drives and volumes: the drive list, volume names and GUID paths, and drive space.
//
// A drive is given as the system lists it ("C:\"), or as any path on it ("C:", "C:\data\x.txt");
// its first character is the drive letter. A drive without a medium, or one that is gone, gives
// empty texts and zero figures, never a system dialog. All operations may be called from any thread.
#pragma once

#include "weftbase/TextArray.h"
#include "weftbase/WeftBaseApi.h"

#include <afx.h>

class WEFTBASE_API VolumeUtils
{
public:
    // Replaces the list by the drives present, as root paths ("C:\", "Z:\"), in letter order.
    // A drive whose root no longer answers is left out even while the system still lists it.
    // False, with the list empty, if the system gives no list.
    static bool GetDriveLetters(TextArray& drives);
    // The root of the volume that holds the path ("C:\" for "C:\data\x.txt"), or the empty text.
    static CString GetVolumeRoot(const char* path);
    // The label of the volume in the drive; the empty text if it has none or cannot be read.
    static CString GetVolumeName(const char* drive);
    // The volume GUID path of the volume in the drive ("\\?\Volume{...}\"), the same text for the
    // same volume in whatever drive it is. A drive without one (substituted, network, an empty
    // removable drive) gives its root and the device it stands for, "S:\|\??\C:\data",
    // "N:\|\Device\LanmanRedirector\...", its own text while it stands for that. The empty text
    // for a path without a drive letter, and for a letter that names no drive.
    static CString GetVolumeGUID(const char* drive);
    // Size of the volume that holds the path, the bytes free to the caller (quotas counted), and
    // that free part in percent of the size (0 to 100). False, and all three 0, on failure.
    static bool GetDriveSpaceInfo(const char* path, unsigned long long& total, unsigned long long& free,
                                  double& freePercent);
};
