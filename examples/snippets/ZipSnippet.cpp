// Zip job: packs a folder into a zip file in the background. The end message is posted, once,
// whether or not the packing succeeded; the outcome is read from the object.
#include "SnippetWindow.h"

#include "weftcore.h"

#include <cstdio>

int main()
{
    const std::string dir = SnippetTempDir("weft_snippet_zip");
    DirUtils::CreateDirectoryPath((dir + "project\\docs\\").c_str());
    SnippetWriteFile(dir + "project\\readme.txt", "read me");
    SnippetWriteFile(dir + "project\\docs\\guide.txt", "a guide");

    // MSG_ZIPTHREAD_DONE is registered when the library loads: compare with it, not a constant.
    SnippetWindow window([](UINT msg, WPARAM, LPARAM) { return msg == ZipThread::MSG_ZIPTHREAD_DONE; });
    bool packed = false;
    {
        ZipThread zip;
        // A folder (isDir true), its entries under "project/", wParam 7 and lParam 0 in the message.
        zip.Start(true, (dir + "project.zip").c_str(), (dir + "project").c_str(), "project", TextArray(), 7,
                  window.Handle(), 0);
        if (window.Pump(30000))
            packed = zip.GetZipResult();
        zip.Stop(30000);  // the job never looks at a stop: give it time, or it is terminated
    }
    std::printf("project.zip %s\n", packed ? "written" : "not written");
    DirUtils::DeleteDirectory(dir.c_str(), 0, nullptr, nullptr, nullptr);
    return packed ? 0 : 1;
}
