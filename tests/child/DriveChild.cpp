// Drive letters defined on a host folder, and removed, through the mount manager.
#include "child/ChildCommands.h"

#include <windows.h>
#include <winioctl.h>

#include <cctype>
#include <cstring>

// define-drive LETTER [HOST_FOLDER]: without a folder the letter is removed. 0 on success, 1 if refused.
WEFT_CHILD_COMMAND(DefineDrive, "define-drive")
{
    struct
    {
        ULONG size, type, fsType, serial;
        ULONGLONG device;
        WCHAR letter;
        USHORT folderOffset, deviceOffset, labelOffset;
        char folder[MAX_PATH];
    } drive = {};
    drive.letter = static_cast<WCHAR>(args.empty() ? 0 : tolower(args[0][0]));
    drive.type = args.size() > 1 ? DRIVE_FIXED : DRIVE_NO_ROOT_DIR;
    drive.size = offsetof(decltype(drive), folder);
    if (args.size() > 1 && args[1].size() < MAX_PATH)
    {
        std::memcpy(drive.folder, args[1].c_str(), args[1].size() + 1);
        drive.folderOffset = static_cast<USHORT>(drive.size);
        drive.size += static_cast<ULONG>(args[1].size() + 1);
    }
    HANDLE manager = CreateFileW(L"\\\\.\\MountPointManager", GENERIC_READ | GENERIC_WRITE,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE,
                                 nullptr, OPEN_EXISTING, 0, nullptr);
    const DWORD defineHostDrive = CTL_CODE('m', 32, METHOD_BUFFERED, FILE_READ_ACCESS | FILE_WRITE_ACCESS);
    const bool done = DeviceIoControl(manager, defineHostDrive, &drive, drive.size, nullptr, 0, nullptr, nullptr);
    CloseHandle(manager);
    return done ? 0 : 1;
}
