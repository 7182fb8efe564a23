// Tour: a mailbox between two processes. This program starts itself as a child that posts
// notes; the parent gets them until the child has ended and nothing is left.
#include "TourSteps.h"

#include "weftcore.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace
{
struct Note
{
    unsigned long sender;
    unsigned long number;
    char text[56];
};
}  // namespace

// The child's side: opens the mailbox by name and posts <count> notes.
WEFT_TOUR_TOOL(MailboxPostTool, "mailbox-post", "<mailbox name> <count>")
{
    if (args.size() != 2)
        return 2;
    MTMailbox box(args[0].c_str());
    if (box.GetStatus() != 0)
        return 1;
    const unsigned long count = std::strtoul(args[1].c_str(), nullptr, 10);
    for (unsigned long i = 1; i <= count; ++i)
    {
        Note note = {GetCurrentProcessId(), i, {}};
        std::snprintf(note.text, sizeof note.text, "note %lu of %lu", i, count);
        // Blocks while the mailbox is full, until the parent has taken a note.
        if (!box.Post(&note, 5000))
            return 1;
    }
    return 0;
}

WEFT_TOUR_STEP(MailboxTour, 40, "Mailbox: a child process posts, this one gets")
{
    using weft::tour::Say;
    const std::string name = "weft-tour-mailbox-" + std::to_string(GetCurrentProcessId());
    MTMailbox box(4, sizeof(Note), name.c_str(), nullptr);
    unsigned long slots = 0, size = 0;
    box.GetProperties(slots, size);
    Say("created \"%s\": status %lu, IsCreator %s, %lu slots of %lu bytes", name.c_str(), box.GetStatus(),
        box.IsCreator() ? "true" : "false", slots, size);

    char exe[MAX_PATH + 1] = {};
    GetModuleFileNameA(nullptr, exe, MAX_PATH);
    std::string command = std::string("\"") + exe + "\" mailbox-post " + name + " 6";
    STARTUPINFOA si = {};
    si.cb = sizeof si;
    PROCESS_INFORMATION pi = {};
    if (!CreateProcessA(exe, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi))
    {
        Say("could not start the child: error %lu", GetLastError());
        return;
    }
    CloseHandle(pi.hThread);
    Say("started child process %lu to post 6 notes into 4 slots", pi.dwProcessId);

    // The child's process handle is the alert: the pending count stands first, so every note
    // is taken before the child's end ends the loop.
    MTWaitableCollection alerts;
    alerts.AddObject(pi.hProcess);
    Note note = {};
    unsigned long result = 0;
    while ((result = box.GetAlertable(&note, alerts, 5000)) == 0)
        Say("got from process %lu: \"%s\"", note.sender, note.text);
    DWORD exitCode = 0;
    GetExitCodeProcess(pi.hProcess, &exitCode);
    Say("GetAlertable gave %lu (%s); the child exited with %lu", result,
        result == 1 ? "the child ended, nothing pending" : "time-out or failure", exitCode);
    if (result != 1)
        TerminateProcess(pi.hProcess, 1);
    CloseHandle(pi.hProcess);
}
