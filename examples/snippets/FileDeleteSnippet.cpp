// File deleter: deletes a list of files and folders in the background, starting at
// construction, and tells the owner window when the list has been worked through.
#include "SnippetWindow.h"

#include "weftcore.h"

#include <cstdio>

int main()
{
    const UINT DeletedMsg = WM_APP + 9;
    const std::string dir = SnippetTempDir("weft_snippet_delete");
    CreateDirectoryA((dir + "cache").c_str(), nullptr);
    SnippetWriteFile(dir + "cache\\page.bin", "cached");
    SnippetWriteFile(dir + "old.log", "old");

    SnippetWindow window([&](UINT msg, WPARAM, LPARAM) { return msg == DeletedMsg; });
    TextArray items;
    items.Add((dir + "old.log").c_str());
    items.Add((dir + "cache\\").c_str());  // a folder goes with its whole tree
    items.Add((dir + "missing.txt").c_str());  // a missing path is passed over
    // optionA true: read-only, hidden and system items go too; optionB: retry a failed file.
    FileDeleteThread deleter(items, DeletedMsg, window.Handle(), 0, true, true);
    const bool done = window.Pump(10000);
    deleter.Stop(5000);
    std::printf("list worked through: %s; old.log %s\n", done ? "yes" : "no",
                FileUtils::DoesFileExist((dir + "old.log").c_str()) ? "still there" : "gone");
    RemoveDirectoryA(dir.c_str());
    return done ? 0 : 1;
}
