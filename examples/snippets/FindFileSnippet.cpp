// File finder: a search below a folder in the background. Each match comes as its index in the
// results; a last message, whose wParam is no valid index, ends the search.
#include "SnippetWindow.h"

#include "weftcore.h"

#include <cstdio>
#include <memory>

int main()
{
    const UINT FindMsg = WM_APP + 8;
    const std::string dir = SnippetTempDir("weft_snippet_find");
    CreateDirectoryA((dir + "src").c_str(), nullptr);
    SnippetWriteFile(dir + "src\\main.cpp", "int main() {}");
    SnippetWriteFile(dir + "notes.txt", "notes");

    std::unique_ptr<FindFileThread> finder;
    SnippetWindow window([&](UINT msg, WPARAM wParam, LPARAM) {
        if (msg != FindMsg)
            return false;
        if (!finder->IsValidIndex(wParam))
            return true;  // the end: wParam is the count plus 1
        std::printf("found %s\n", finder->GetFileAtIndex(wParam).GetString());
        return false;
    });
    finder = std::make_unique<FindFileThread>(FindMsg, window.Handle(), 0, 0);
    TextArray specs, excluded, skipDirs;
    specs.Add("*.cpp;*.h");
    finder->DoFind(dir.c_str(), specs, excluded, skipDirs, true, true, false);  // recursive
    const bool done = window.Pump(10000);
    finder->Stop(5000);
    finder.reset();
    DirUtils::DeleteDirectory(dir.c_str(), 0, nullptr, nullptr, nullptr);
    return done ? 0 : 1;
}
