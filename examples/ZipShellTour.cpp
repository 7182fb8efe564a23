// Tour: a temporary tree packed into a zip file in the background, and a bounded shell launch
// of this program itself, which tells of its start through a mailbox; and the "zip" and "open"
// tools.
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
    Say("zip: packing %s into %s", dir.c_str(), out.c_str());
    zip.Start(isDir, out.c_str(), dir.c_str(), extra, files, 0, window.Handle(), 0);
    // The end message is posted: it waits in the queue for this loop.
    MSG msg = {};
    while (!PeekMessageA(&msg, window.Handle(), ZipThread::MSG_ZIPTHREAD_DONE, ZipThread::MSG_ZIPTHREAD_DONE, PM_REMOVE))
    {
        if (MsgWaitForMultipleObjects(0, nullptr, FALSE, 1000, QS_POSTMESSAGE) == WAIT_TIMEOUT)
            Say("zip: still packing");
    }
    unsigned long long size = 0;
    DateTime modified;
    const bool written = FileUtils::GetFileInfoCore(out.c_str(), size, modified);
    Say("zip: %s; %s", zip.GetZipResult() ? "every item packed" : "the job failed",
        written ? (std::to_string(size) + " bytes at the output").c_str() : "no archive at the output");
    return zip.GetZipResult();
}
}  // namespace

WEFT_TOUR_STEP(ZipTour, 52, "Zip job: a temporary tree packed in the background")
{
    const std::string dir = weft::tour::TourDir() + "zip\\";
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
}

WEFT_TOUR_STEP(ShellTour, 55, "Shell launch: this program started through the shell, and a missing file")
{
    using weft::tour::Say;
    const std::string name = "weft-tour-shell-" + std::to_string(GetCurrentProcessId());
    MTMailbox box(weft::tour::NoteSlots, sizeof(weft::tour::Note), name.c_str(), nullptr);
    const std::string argument = "post " + name + " \"started through the shell\"";
    Say("launching weft_tour.exe %s", argument.c_str());
    const CString error = ShellExecuteThread(weft::tour::ThisExe().c_str(), argument.c_str()).GetErrorMsg();
    Say("launcher returned: %s", error.IsEmpty() ? "no error" : error.GetString());
    weft::tour::Note note = {};
    if (error.IsEmpty() && box.Get(&note, 5000))
    {
        note.text[sizeof note.text - 1] = '\0';
        Say("mailbox: got \"%s\" from process %lu", note.text, note.sender);
        // The child ends once its note is taken; wait for that, so that nothing outlives the tour.
        if (HANDLE child = OpenProcess(SYNCHRONIZE, FALSE, note.sender))
        {
            Say("the launched process %s", WaitForSingleObject(child, 5000) == WAIT_OBJECT_0 ? "ended" : "still runs");
            CloseHandle(child);
        }
    }
    const std::string missing = weft::tour::TourDir() + "no-such-file.txt";
    Say("launching %s", missing.c_str());
    const CString failure = ShellExecuteThread(missing.c_str(), "").GetErrorMsg();
    Say("launcher returned: %s", failure.IsEmpty() ? "no error" : failure.GetString());
}

WEFT_TOUR_TOOL(ZipTool, "zip", "DIR OUT.zip [ROOT]",
               "packs the tree DIR into OUT.zip in the background, under ROOT/ if given")
{
    if (args.size() < 2 || args.size() > 3)
        return weft::tour::UsageError;
    return Pack(true, args[1], args[0], TextArray(), args.size() == 3 ? args[2].c_str() : "") ? 0 : 1;
}

WEFT_TOUR_TOOL(OpenTool, "open", "FILE-OR-ADDRESS [ARGUMENT]",
               "launches through the shell, waiting at most about 3.5 s")
{
    if (args.empty() || args.size() > 2)
        return weft::tour::UsageError;
    weft::tour::Say("launching %s", args[0].c_str());
    ShellExecuteThread launch(args[0].c_str(), args.size() > 1 ? args[1].c_str() : "");
    const CString error = launch.GetErrorMsg();
    weft::tour::Say("%s", error.IsEmpty() ? "launched" : error.GetString());
    return error.IsEmpty() ? 0 : 1;
}
