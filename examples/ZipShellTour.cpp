// Tour: a temporary tree packed into a zip file in the background; and the "zip" and "open"
// tools. The tour launches nothing through the shell: only the "open" tool does, when asked.
#include "TourSteps.h"
#include "TourWindow.h"

#include "weftcore.h"

#include <cstdio>
#include <string>

namespace
{
// Packs dir (or the list, with dir as its base) into out with ZipThread, telling every second
// that the job still runs, then its outcome. Gives the job's result.
bool Pack(bool isDir, const std::string& out, const std::string& dir, const TextArray& files, const char* extra = "")
{
    using weft::tour::Say;
    weft::tour::TourWindow window([](unsigned long long, UINT, WPARAM, LPARAM) {});
    ZipThread zip;
    Say("packing %s into %s", dir.c_str(), out.c_str());
    zip.Start(isDir, out.c_str(), dir.c_str(), extra, files, 0, window.Handle(), 0);
    // The end message is posted: it waits in the queue for this loop.
    MSG msg = {};
    while (!PeekMessageA(&msg, window.Handle(), ZipThread::MSG_ZIPTHREAD_DONE, ZipThread::MSG_ZIPTHREAD_DONE, PM_REMOVE))
    {
        if (MsgWaitForMultipleObjects(0, nullptr, FALSE, 1000, QS_POSTMESSAGE) == WAIT_TIMEOUT)
            Say("%6llu ms  still packing", window.Elapsed());
    }
    unsigned long long size = 0;
    DateTime modified;
    const bool written = FileUtils::GetFileInfoCore(out.c_str(), size, modified);
    Say("%6llu ms  %s; %s", window.Elapsed(), zip.GetZipResult() ? "every item packed" : "the job failed",
        written ? (std::to_string(size) + " bytes at the output").c_str() : "no archive at the output");
    return zip.GetZipResult();
}
}  // namespace

WEFT_TOUR_STEP(ZipTour, 52, "Zip job: a temporary tree packed in the background")
{
    char temp[MAX_PATH + 1] = {};
    GetTempPathA(MAX_PATH, temp);
    const std::string dir = std::string(temp) + "weft_tour_zip_" + std::to_string(GetCurrentProcessId()) + "\\";
    std::string text;
    for (int i = 0; i < 500; ++i)
        text += "line " + std::to_string(i) + " of a text that packs well\r\n";
    DirUtils::CreateDirectoryPath((dir + "tree\\docs\\").c_str());
    for (const char* file : {"tree\\notes.txt", "tree\\docs\\readme.txt"})
    {
        HANDLE h = CreateFileA((dir + file).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        DWORD written = 0;
        WriteFile(h, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        CloseHandle(h);
    }
    Pack(true, dir + "tree.zip", dir + "tree", TextArray());
    weft::tour::Say("a missing folder:");
    Pack(true, dir + "none.zip", dir + "missing", TextArray());
    DirUtils::DeleteDirectory(dir.c_str(), 0, nullptr, nullptr, nullptr);
}

WEFT_TOUR_TOOL(ZipTool, "zip", "DIR OUT.zip [ROOT]   packs the tree DIR into OUT.zip in the background, under ROOT/ if given")
{
    if (args.size() < 2 || args.size() > 3)
    {
        std::printf("usage: weft_tour zip DIR OUT.zip [ROOT]\n");
        return 2;
    }
    return Pack(true, args[1], args[0], TextArray(), args.size() == 3 ? args[2].c_str() : "") ? 0 : 1;
}

WEFT_TOUR_TOOL(OpenTool, "open", "FILE-OR-ADDRESS [ARGUMENT]   launches through the shell, at most about 3.5 s")
{
    if (args.empty() || args.size() > 2)
    {
        std::printf("usage: weft_tour open FILE-OR-ADDRESS [ARGUMENT]\n");
        return 2;
    }
    const ULONGLONG start = GetTickCount64();
    ShellExecuteThread launch(args[0].c_str(), args.size() > 1 ? args[1].c_str() : "");
    const CString error = launch.GetErrorMsg();
    std::printf("%llu ms: %s\n", GetTickCount64() - start, error.IsEmpty() ? "launched" : error.GetString());
    return error.IsEmpty() ? 0 : 1;
}
