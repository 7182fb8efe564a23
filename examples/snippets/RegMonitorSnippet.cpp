// Registry monitor: one record per difference below a key, sent by pointer. The handler owns
// each record and deletes it.
#include "SnippetWindow.h"

#include "weftcore.h"

#include <cstdio>
#include <string>

int main()
{
    const UINT RegMsg = WM_APP + 6;
    const std::string key = "Software\\weft-snippet-" + std::to_string(GetCurrentProcessId());
    RegSetKeyValueA(HKEY_CURRENT_USER, key.c_str(), "colour", REG_SZ, "red", 4);
    SnippetWindow window([&](UINT msg, WPARAM, LPARAM lParam) {
        if (msg != RegMsg)
            return false;
        auto* change = reinterpret_cast<RegChangeNotification*>(lParam);
        const bool changed = change->GetAction() == RegChange::ValueChanged;
        std::printf("action %d: %s %s = %s\n", static_cast<int>(change->GetAction()), change->GetKey().GetString(),
                    change->GetValueName().GetString(), change->GetValue().GetString());
        delete change;
        return changed;
    });
    bool done = false;
    {
        // The key must exist; the monitor takes its first picture, then waits for changes.
        RegMonitorThread monitor(HKEY_CURRENT_USER, key.c_str(), true, RegMsg, window.Handle(), 0);
        if (!monitor.GetErrorMsg().IsEmpty())
            std::printf("refused: %s\n", monitor.GetErrorMsg().GetString());
        window.Pump(300);  // the first picture and the arming
        RegSetKeyValueA(HKEY_CURRENT_USER, key.c_str(), "colour", REG_SZ, "blue", 5);
        done = window.Pump(5000);
        monitor.Stop(10000);
    }
    window.Pump(0);  // records sent before the stop are delivered and deleted
    RegDeleteTreeA(HKEY_CURRENT_USER, key.c_str());
    RegDeleteKeyA(HKEY_CURRENT_USER, key.c_str());
    return done ? 0 : 1;
}
