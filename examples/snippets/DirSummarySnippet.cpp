// Directory summary: files, bytes and dates of a tree, gathered in the background. One message
// says a run is complete; the owner then reads the results from the object.
#include "SnippetWindow.h"

#include "weftcore.h"

#include <cstdio>

int main()
{
    const UINT SummaryMsg = WM_APP + 7;
    const std::string dir = SnippetTempDir("weft_snippet_summary");
    SnippetWriteFile(dir + "a.txt", "some text");
    SnippetWriteFile(dir + "b.txt", "more text");
    SnippetWindow window([&](UINT msg, WPARAM, LPARAM) { return msg == SummaryMsg; });
    bool done = false;
    {
        DirSummaryThread summary(dir.c_str(), SummaryMsg, window.Handle(), 0, 0);
        summary.GatherInfo();  // asks for a run; SetDir names another tree
        done = window.Pump(10000);
        if (done)
            std::printf("%llu files, %s (%s of the drive), newest %s\n", summary.GetFileCount(),
                        summary.GetDirUsesSpace().GetString(), summary.GetDirUsesSpacePercent().GetString(),
                        summary.GetNewestFileDate().Format().GetString());
        summary.Stop(5000);
    }
    DirUtils::DeleteDirectory(dir.c_str(), 0, nullptr, nullptr, nullptr);
    return done ? 0 : 1;
}
