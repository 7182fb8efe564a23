// File-system change monitor: one record per change below a folder, sent by pointer. The
// handler owns each record and deletes it.
#include "SnippetWindow.h"

#include "weftcore.h"

#include <cstdio>

int main()
{
    const UINT FsMsg = WM_APP + 5;
    const std::string dir = SnippetTempDir("weft_snippet_fsmon");
    SnippetWindow window([&](UINT msg, WPARAM, LPARAM lParam) {
        if (msg != FsMsg)
            return false;
        auto* change = reinterpret_cast<FSChangeNotification*>(lParam);
        const bool renamed = change->GetAction() == FILE_ACTION_RENAMED_NEW_NAME;
        std::printf("action %lu: %s\n", change->GetAction(), change->GetPath().GetString());
        delete change;  // every record that reaches the window is the window's to delete
        return renamed;
    });
    bool done = false;
    {
        FSMonitorThread monitor(dir.c_str(), FsMsg, window.Handle(), true, 0);  // the folder and below
        window.Pump(200);  // the thread issues its first read
        SnippetWriteFile(dir + "draft.txt", "text");
        MoveFileA((dir + "draft.txt").c_str(), (dir + "final.txt").c_str());  // two records: old, new
        done = window.Pump(5000);
        monitor.Stop(10000);
    }
    window.Pump(0);  // records already sent are still delivered, and deleted, by the handler
    DirUtils::DeleteDirectory(dir.c_str(), 0, nullptr, nullptr, nullptr);
    return done ? 0 : 1;
}
