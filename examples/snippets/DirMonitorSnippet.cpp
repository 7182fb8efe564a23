// Directory monitor: one message for a burst of changes in a folder, 200 ms after the last, with
// the kinds of change as bits in wParam.
#include "SnippetWindow.h"

#include "weftcore.h"

#include <cstdio>

int main()
{
    const UINT ChangeMsg = WM_APP + 3;
    const std::string dir = SnippetTempDir("weft_snippet_dirmon");
    SnippetWindow window([&](UINT msg, WPARAM wParam, LPARAM) {
        if (msg != ChangeMsg)
            return false;
        std::printf("changed:%s%s\n", (wParam & FILE_NOTIFY_CHANGE_FILE_NAME) ? " names" : "",
                    (wParam & FILE_NOTIFY_CHANGE_SIZE) ? " sizes" : "");
        return true;
    });
    bool done = false;
    {
        // The folder must exist and stay until the monitor has stopped.
        DirMonitorThread monitor(dir.c_str(), false, FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE,
                                 ChangeMsg, window.Handle(), 200, 0, false);
        window.Pump(200);  // the thread opens its notification handles
        SnippetWriteFile(dir + "a.txt", "one");
        SnippetWriteFile(dir + "b.txt", "two");
        done = window.Pump(5000);
        monitor.Stop(10000);
    }
    DirUtils::DeleteDirectory(dir.c_str(), 0, nullptr, nullptr, nullptr);
    return done ? 0 : 1;
}
