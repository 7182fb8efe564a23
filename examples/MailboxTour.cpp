// Tour: a named block of shared memory seen through two views, and a mailbox between two
// processes: this program starts itself as a child that posts notes with the "post" tool, and
// gets them until the child has ended and nothing is left. The "post" and "get" tools.
#include "TourSteps.h"

#include "weftcore.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

using weft::tour::Note;

namespace
{
void PrintNote(Note& note)
{
    note.text[sizeof note.text - 1] = '\0';
    weft::tour::Say("mailbox: got note %lu from process %lu: \"%s\"", note.number, note.sender, note.text);
}
}  // namespace

WEFT_TOUR_TOOL(PostTool, "post", "NAME TEXT...", "posts each TEXT as a message to the mailbox NAME (see get)")
{
    if (args.size() < 2)
        return weft::tour::UsageError;
    MTMailbox box(args[0].c_str());
    unsigned long slots = 0, size = 0;
    if (box.GetStatus() != 0 || !box.GetProperties(slots, size) || size != sizeof(Note))
    {
        std::printf("no mailbox \"%s\" of this program's messages (status %lu): start \"get %s\" first\n",
                    args[0].c_str(), box.GetStatus(), args[0].c_str());
        return 1;
    }
    for (unsigned long i = 1; i < args.size(); ++i)
    {
        Note note = {GetCurrentProcessId(), i, {}};
        std::snprintf(note.text, sizeof note.text, "%s", args[i].c_str());
        // Blocks while the mailbox is full, until a getter has taken a note.
        if (!box.Post(&note, 5000))
        {
            std::printf("note %lu not posted: the mailbox stayed full\n", i);
            return 1;
        }
    }
    return 0;
}

WEFT_TOUR_TOOL(GetTool, "get", "NAME [SECONDS]",
               "makes the mailbox NAME and prints each message posted to it, for SECONDS or until interrupted")
{
    if (args.empty() || args.size() > 2)
        return weft::tour::UsageError;
    const DWORD seconds = args.size() > 1 ? static_cast<DWORD>(std::strtoul(args[1].c_str(), nullptr, 10)) : 0;
    MTMailbox box(weft::tour::NoteSlots, sizeof(Note), args[0].c_str(), nullptr);
    unsigned long slots = 0, size = 0;
    if (!box.GetProperties(slots, size) || size != sizeof(Note))
    {
        std::printf("cannot make or join the mailbox \"%s\" (status %lu)\n", args[0].c_str(), box.GetStatus());
        return 1;
    }
    weft::tour::Say("mailbox \"%s\" %s; waiting%s", args[0].c_str(), box.IsCreator() ? "made" : "joined",
                    seconds ? "" : " until interrupted");
    const ULONGLONG end = seconds ? GetTickCount64() + seconds * 1000ULL : ~0ULL;
    Note note = {};
    for (ULONGLONG now = GetTickCount64(); now < end; now = GetTickCount64())
        if (box.Get(&note, seconds ? static_cast<DWORD>(end - now) : INFINITE))
            PrintNote(note);
    return 0;
}

WEFT_TOUR_STEP(SharedMemoryTour, 35, "Shared memory: one named block, two views")
{
    using weft::tour::Say;
    const std::string name = "weft-tour-block-" + std::to_string(GetCurrentProcessId());
    MTSharedMemory writer(4096, name.c_str(), nullptr);
    Say("created \"%s\": status %lu, IsCreator %s", name.c_str(), writer.GetStatus(),
        writer.IsCreator() ? "true" : "false");
    if (writer.GetPtr() == nullptr)
        return;
    std::strcpy(static_cast<char*>(writer.GetPtr()), "written through the first view");
    MTSharedMemory reader(name.c_str());
    Say("opened by name: status %lu, a view at another address: %s", reader.GetStatus(),
        reader.GetPtr() != writer.GetPtr() ? "yes" : "no");
    if (reader.GetPtr() != nullptr)
        Say("read through the second view: \"%s\"", static_cast<const char*>(reader.GetPtr()));
}

WEFT_TOUR_STEP(MailboxTour, 36, "Mailbox: a child process posts, this one gets")
{
    using weft::tour::Say;
    const std::string name = "weft-tour-mailbox-" + std::to_string(GetCurrentProcessId());
    MTMailbox box(weft::tour::NoteSlots, sizeof(Note), name.c_str(), nullptr);
    unsigned long slots = 0, size = 0;
    box.GetProperties(slots, size);
    Say("created \"%s\": status %lu, IsCreator %s, %lu slots of %lu bytes", name.c_str(), box.GetStatus(),
        box.IsCreator() ? "true" : "false", slots, size);

    const std::string exe = weft::tour::ThisExe();
    std::string command = "\"" + exe + "\" post " + name;
    for (int i = 1; i <= 6; ++i)
        command += " \"note " + std::to_string(i) + " of 6\"";
    STARTUPINFOA si = {};
    si.cb = sizeof si;
    PROCESS_INFORMATION pi = {};
    if (!CreateProcessA(exe.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi))
    {
        Say("could not start the child: error %lu", GetLastError());
        return;
    }
    CloseHandle(pi.hThread);
    Say("started child process %lu: weft_tour post %s, six notes into %lu slots", pi.dwProcessId, name.c_str(), slots);

    // The child's process handle is the alert: the pending count stands first, so every note
    // is taken before the child's end ends the loop.
    MTWaitableCollection alerts;
    alerts.AddObject(pi.hProcess);
    Note note = {};
    unsigned long result = 0;
    while ((result = box.GetAlertable(&note, alerts, 5000)) == 0)
        PrintNote(note);
    if (result != 1)
        TerminateProcess(pi.hProcess, 1);
    WaitForSingleObject(pi.hProcess, 5000);
    DWORD exitCode = 0;
    GetExitCodeProcess(pi.hProcess, &exitCode);
    Say("GetAlertable gave %lu (%s); the child exited with %lu", result,
        result == 1 ? "the child ended, nothing pending" : "time-out or failure", exitCode);
    CloseHandle(pi.hProcess);
}
