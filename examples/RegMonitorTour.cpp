// Tour: a registry monitor telling a value's change as a record; and the "regwatch" tool.
#include "TourSteps.h"
#include "TourWindow.h"

#include "weftcore.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace
{
const UINT RegMsg = WM_APP + 50;

const char* ActionName(RegChange action)
{
    static const char* const names[] = {"none", "key added", "key removed", "value added", "value removed",
                                        "value changed"};
    return action >= RegChangeNotification::None && action <= RegChangeNotification::ValueChanged ? names[action] : "?";
}

// The handler owns each record it is given.
void PrintRecord(unsigned long long, UINT, WPARAM, LPARAM lParam)
{
    auto* record = reinterpret_cast<RegChangeNotification*>(lParam);
    DateTime at;
    record->GetDatetime(at);
    weft::tour::Say("registry monitor: %-13s %s%s%s%s%s (recorded %s UTC)", ActionName(record->GetAction()),
                    record->GetKey().GetString(), record->GetValueName().IsEmpty() ? "" : "  ",
                    record->GetValueName().GetString(), record->GetValue().IsEmpty() ? "" : " = ",
                    record->GetValue().GetString(), at.Format().GetString());
    delete record;
}

// "HKCU\Software\x" or "HKEY_CURRENT_USER\Software\x": the root, and the path below it in key.
HKEY SplitRoot(const std::string& text, std::string& key)
{
    static const struct
    {
        const char* shortName;
        const char* longName;
        HKEY root;
    } roots[] = {{"HKCU", "HKEY_CURRENT_USER", HKEY_CURRENT_USER},
                 {"HKLM", "HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
                 {"HKCR", "HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
                 {"HKU", "HKEY_USERS", HKEY_USERS}};
    const std::string head = text.substr(0, text.find('\\'));
    key = head.size() < text.size() ? text.substr(head.size() + 1) : "";
    for (const auto& r : roots)
        if (_stricmp(head.c_str(), r.shortName) == 0 || _stricmp(head.c_str(), r.longName) == 0)
            return r.root;
    return nullptr;
}
}  // namespace

WEFT_TOUR_STEP(RegMonitorTour, 45, "Registry monitor: a change under a key comes as a record")
{
    using weft::tour::Say;
    const std::string key = weft::tour::TourKey() + "\\regmon";
    RegSetKeyValueA(HKEY_CURRENT_USER, key.c_str(), "colour", REG_SZ, "red", 4);
    weft::tour::TourWindow window(PrintRecord);
    {
        RegMonitorThread monitor(HKEY_CURRENT_USER, key.c_str(), true, RegMsg, window.Handle(), 0);
        Say("watching HKCU\\%s, which holds colour = red", key.c_str());
        window.PumpFor(300);  // the thread takes its first picture and arms the notice
        RegSetKeyValueA(HKEY_CURRENT_USER, key.c_str(), "colour", REG_SZ, "blue", 5);
        RegSetKeyValueA(HKEY_CURRENT_USER, (key + "\\sizes").c_str(), "width", REG_DWORD, "\x40\0\0\0", 4);
        Say("set colour = blue, and added the key sizes with width = 64");
        window.PumpUntil(3, 3000);
        monitor.Stop(1000);
        Say("error text after the stop: \"%s\"", monitor.GetErrorMsg().GetString());
    }
    window.PumpFor(0);  // records sent before the stop are handled, and deleted
}

WEFT_TOUR_TOOL(RegWatchTool, "regwatch", "HKCU|HKLM|HKCR|HKU\\KEY [SECONDS]",
               "prints each change below KEY as a record, for SECONDS or until interrupted")
{
    std::string key;
    const HKEY root = args.empty() || args.size() > 2 ? nullptr : SplitRoot(args[0], key);
    if (root == nullptr)
        return weft::tour::UsageError;
    const DWORD seconds = args.size() > 1 ? static_cast<DWORD>(std::strtoul(args[1].c_str(), nullptr, 10)) : 0;
    weft::tour::TourWindow window(PrintRecord);
    RegMonitorThread monitor(root, key.c_str(), true, RegMsg, window.Handle(), 0);
    if (!monitor.GetErrorMsg().IsEmpty())
    {
        std::printf("%s\n", monitor.GetErrorMsg().GetString());
        return 1;
    }
    weft::tour::Say("watching %s%s", args[0].c_str(), seconds ? "" : " until interrupted");
    window.PumpFor(seconds ? seconds * 1000 : INFINITE);
    return monitor.GetErrorMsg().IsEmpty() ? 0 : 1;
}
