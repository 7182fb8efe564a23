// Drive letters defined and removed through the mount manager, as a drive that comes and goes.
#include "child/ChildCommands.h"

#include <windows.h>
#include <winioctl.h>

#include <cctype>
#include <cstring>

namespace
{
// The mount manager's request that maps a drive letter to a host folder (a removal has no folder).
const DWORD DefineHostDrive = CTL_CODE('m', 32, METHOD_BUFFERED, FILE_READ_ACCESS | FILE_WRITE_ACCESS);
struct HostDrive
{
    ULONG size, type, fsType;
    DWORD serial;
    ULONGLONG device;
    WCHAR letter;
    USHORT folderOffset, deviceOffset, labelOffset;
};
}  // namespace

// define-drive LETTER [HOST_FOLDER]: without a folder the letter is removed. 0 on success, 1 if refused.
WEFT_CHILD_COMMAND(DefineDrive, "define-drive")
{
    char request[sizeof(HostDrive) + MAX_PATH] = {};
    auto* drive = reinterpret_cast<HostDrive*>(request);
    drive->letter = static_cast<WCHAR>(args.empty() ? 0 : tolower(args[0][0]));
    drive->type = args.size() > 1 ? DRIVE_FIXED : DRIVE_NO_ROOT_DIR;
    drive->size = sizeof(HostDrive);
    if (args.size() > 1 && args[1].size() < MAX_PATH)
    {
        std::memcpy(request + sizeof(HostDrive), args[1].c_str(), args[1].size() + 1);
        drive->folderOffset = sizeof(HostDrive);
        drive->size += static_cast<ULONG>(args[1].size() + 1);
    }
    HANDLE manager = CreateFileW(L"\\\\.\\MountPointManager", GENERIC_READ | GENERIC_WRITE,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    const bool done = DeviceIoControl(manager, DefineHostDrive, request, drive->size, nullptr, 0, nullptr, nullptr);
    CloseHandle(manager);
    return done ? 0 : 1;
}
