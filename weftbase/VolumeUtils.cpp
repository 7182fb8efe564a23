#include "weftbase/VolumeUtils.h"

#include "weftbase/PathText.h"

#include <vector>

namespace
{
// No "insert a disk" dialog for the calling thread while it looks at a drive.
class QuietErrors
{
public:
    QuietErrors() { ::SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &m_previous); }
    ~QuietErrors() { ::SetThreadErrorMode(m_previous, nullptr); }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

private:
    DWORD m_previous = 0;
};
}  // namespace

bool VolumeUtils::GetDriveLetters(TextArray& drives)
{
    drives.RemoveAll();
    const DWORD mask = ::GetLogicalDrives();
    if (mask == 0)
        return false;
    QuietErrors quiet;
    for (int i = 0; i < 26; ++i)
    {
        if (!(mask & (1u << i)))
            continue;
        const char root[4] = {static_cast<char>('A' + i), ':', '\\', 0};
        // The list of a running process keeps a drive that was taken away; its root does not.
        if (::GetDriveTypeA(root) != DRIVE_NO_ROOT_DIR)
            drives.Add(root);
    }
    return true;
}

CString VolumeUtils::GetVolumeRoot(const char* path)
{
    if (!PathText::FitsLimit(path))
        return CString();
    const CString text(path);
    // "C" and "C:" name a drive, not a file in the current directory.
    const bool letterOnly = text.GetLength() == 1 || (text.GetLength() == 2 && text[1] == ':');
    if (letterOnly && isalpha(static_cast<unsigned char>(text[0])))
    {
        CString root(text[0]);
        return root + ":\\";
    }
    char root[MAX_PATH] = {};
    if (!::GetVolumePathNameA(path, root, ARRAYSIZE(root)))
        return CString();
    CString result(root);
    if (!PathText::EndsWithSeparator(result))
        result += '\\';
    return result;
}

CString VolumeUtils::GetVolumeName(const char* drive)
{
    const CString root = GetVolumeRoot(drive);
    if (root.IsEmpty())
        return CString();
    QuietErrors quiet;
    char label[MAX_PATH] = {};
    if (!::GetVolumeInformationA(root, label, ARRAYSIZE(label), nullptr, nullptr, nullptr, nullptr, 0))
        return CString();
    return CString(label);
}

CString VolumeUtils::GetVolumeGUID(const char* drive)
{
    const CString root = GetVolumeRoot(drive);
    QuietErrors quiet;
    char guid[MAX_PATH] = {};
    if (!root.IsEmpty() && ::GetVolumeNameForVolumeMountPointA(root, guid, ARRAYSIZE(guid)))
        return CString(guid);
    // No volume GUID (a substituted or network drive, an empty removable one): the drive and
    // the device it stands for, "S:\|\??\C:\data", so each such drive has a text of its own.
    const CString text(drive);
    if (text.GetLength() < 2 || text[1] != ':' || !isalpha(static_cast<unsigned char>(text[0])))
        return CString();
    const char device[3] = {static_cast<char>(toupper(static_cast<unsigned char>(text[0]))), ':', 0};
    std::vector<char> target(MAX_PATH);
    while (::QueryDosDeviceA(device, target.data(), static_cast<DWORD>(target.size())) == 0)
    {
        if (::GetLastError() != ERROR_INSUFFICIENT_BUFFER || target.size() >= 65536)
            return CString();
        target.resize(target.size() * 2);
    }
    return CString(device) + "\\|" + target.data();
}

bool VolumeUtils::GetDriveSpaceInfo(const char* path, unsigned long long& total, unsigned long long& free,
                                    double& freePercent)
{
    total = 0;
    free = 0;
    freePercent = 0.0;
    const CString root = GetVolumeRoot(path);
    if (root.IsEmpty())
        return false;
    QuietErrors quiet;
    ULARGE_INTEGER available, size, totalFree;
    if (!::GetDiskFreeSpaceExA(root, &available, &size, &totalFree))
        return false;
    total = size.QuadPart;
    free = available.QuadPart;
    if (total > 0)
        freePercent = static_cast<double>(free) * 100.0 / static_cast<double>(total);
    return true;
}
