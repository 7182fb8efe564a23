// File monitor: a message when one file's size or date changes; changes of its neighbours in
// the same folder send nothing.
#include "SnippetWindow.h"

#include "weftcore.h"

#include <cstdio>

int main()
{
    const UINT FileMsg = WM_APP + 4;
    const std::string dir = SnippetTempDir("weft_snippet_filemon");
    const std::string file = dir + "app.log";
    SnippetWriteFile(file, "started\r\n");
    SnippetWindow window([&](UINT msg, WPARAM, LPARAM) {
        if (msg == FileMsg)
            std::printf("app.log changed\n");
        return msg == FileMsg;
    });
    bool done = false;
    {
        // No delay (0xFFFFFFFF): a message at once for each change of size or date.
        FileMonitorThread monitor(file.c_str(), FileMsg, window.Handle(), 0xFFFFFFFF, 0, false);
        window.Pump(200);  // the thread opens its notification handles
        SnippetWriteFile(dir + "neighbour.txt", "not watched");
        SnippetWriteFile(file, "started\r\nstopped\r\n");
        done = window.Pump(5000);
        monitor.Stop(10000);
    }
    DirUtils::DeleteDirectory(dir.c_str(), 0, nullptr, nullptr, nullptr);
    return done ? 0 : 1;
}
