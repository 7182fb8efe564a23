// Drive change watcher: polls the drive list and tells the owner window of each drive that
// comes, goes or changes. The message numbers are registered at load: compare with the members.
#include "SnippetWindow.h"

#include "weftcore.h"

#include <cstdio>

int main()
{
    SnippetWindow window([](UINT msg, WPARAM wParam, LPARAM) {
        const char* what = msg == DrivesChangeThread::MSG_DCT_DRIVEADDED     ? "added"
                           : msg == DrivesChangeThread::MSG_DCT_DRIVEREMOVED ? "removed"
                           : msg == DrivesChangeThread::MSG_DCT_DRIVECHANGED ? "changed"
                                                                             : nullptr;
        if (what != nullptr)
            std::printf("drive %c: %s\n", static_cast<char>(wParam), what);
        return false;
    });

    TextArray drives;
    VolumeUtils::GetDriveLetters(drives);
    std::printf("%llu drives now; watching for a second\n", drives.GetCount());
    DrivesChangeThread watcher(window.Handle(), 250, 0);  // a pass every 250 ms
    window.Pump(1000);  // insert or remove a drive meanwhile to see a message
    watcher.Stop(5000);
    return 0;
}
