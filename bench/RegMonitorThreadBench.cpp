// The registry monitor's picture and comparison of a tree of 1,000, 10,000 and 100,000 values
// (100 values a key, 10 subkeys a key), against a raw walk of the same tree in the same run
// (RegOpenKeyExA, RegEnumKeyExA, RegEnumValueA reading each name and its data); the growth from
// 10,000 to 100,000 values; and the time from one change in the 10,000-value tree to the owner
// window's procedure.
#include "weftcore.h"

#include "support/BenchSupport.h"
#include "support/MessageWindow.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

using weft::bench::Median;
using weft::bench::NowSeconds;

namespace
{
const UINT ChangeMsg = WM_APP + 9;
constexpr int ValuesPerKey = 100;

// Exposes the picture and the comparison; made without a window, so a comparison sends nothing.
struct Probe : RegMonitorThread
{
    Probe(const std::string& key) : RegMonitorThread(HKEY_CURRENT_USER, key.c_str(), true, ChangeMsg, nullptr, 0)
    {
        Stop(INFINITE);
    }
    double SnapshotAndCompare(RegKeySnapshot& before) const
    {
        const double start = NowSeconds();
        RegKeySnapshot after;
        GetKeySnapshot(after);
        DoComparisons(before, after);
        return NowSeconds() - start;
    }
    using RegMonitorThread::GetKeySnapshot;
};

// Keys breadth first, ten below each, until the tree holds `values` values.
void Build(HKEY root, int values)
{
    std::vector<std::string> keys{""};
    for (size_t next = 0; static_cast<int>(keys.size()) * ValuesPerKey < values; ++next)
        for (int i = 0; i < 10 && static_cast<int>(keys.size()) * ValuesPerKey < values; ++i)
            keys.push_back(keys[next] + (keys[next].empty() ? "" : "\\") + "k" + std::to_string(i));
    for (const std::string& key : keys)
    {
        HKEY h = nullptr;
        RegCreateKeyExA(root, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h, nullptr);
        for (int v = 0; v < ValuesPerKey; ++v)
        {
            const std::string text = "value text " + std::to_string(v);
            RegSetValueExA(h, ("v" + std::to_string(v)).c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                           static_cast<DWORD>(text.size() + 1));
        }
        RegCloseKey(h);
    }
}

// The raw walk: every key opened once, every name and value read with its data.
void RawWalk(HKEY parent, const char* path, size_t& count)
{
    HKEY h = nullptr;
    if (RegOpenKeyExA(parent, path, 0, KEY_READ, &h) != ERROR_SUCCESS)
        return;
    char name[256];
    BYTE data[1024];
    for (DWORD i = 0;; ++i)
    {
        DWORD n = sizeof(name), size = sizeof(data), type = 0;
        if (RegEnumValueA(h, i, name, &n, nullptr, &type, data, &size) != ERROR_SUCCESS)
            break;
        ++count;
    }
    for (DWORD i = 0;; ++i)
    {
        DWORD n = sizeof(name);
        if (RegEnumKeyExA(h, i, name, &n, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        RawWalk(h, name, count);
    }
    RegCloseKey(h);
}
}  // namespace

int main()
{
    const std::string base = "Software\\weft-bench-regmon-" + std::to_string(GetCurrentProcessId());
    double perTree[3] = {};
    const int sizes[3] = {1000, 10000, 100000};
    const weft::bench::Curve snapshots{"registry picture+comparison", "values", "ms"};
    for (int s = 0; s < 3; ++s)
    {
        const std::string key = base + "\\t" + std::to_string(sizes[s]);
        HKEY root = nullptr;
        RegCreateKeyExA(HKEY_CURRENT_USER, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &root, nullptr);
        Build(root, sizes[s]);
        Probe probe(key);
        RegKeySnapshot before;
        probe.GetKeySnapshot(before);
        const int rounds = s == 2 ? 5 : 11;
        std::vector<double> library, raw, ratios;
        for (int r = 0; r < rounds; ++r)
        {
            size_t count = 0;
            const double start = NowSeconds();
            RawWalk(HKEY_CURRENT_USER, key.c_str(), count);
            raw.push_back(NowSeconds() - start);
            library.push_back(probe.SnapshotAndCompare(before));
            ratios.push_back(library.back() / raw.back());
        }
        perTree[s] = Median(library);
        std::printf("RegMonitorThread picture+comparison %6d values  raw walk %8.1f ms  library %8.1f ms  ratio %.2f"
                    "  goal <= 1.30: %s\n",
                    sizes[s], Median(raw) * 1e3, perTree[s] * 1e3, Median(ratios),
                    Median(ratios) <= 1.3 ? "met" : "missed");
        const std::string size = weft::bench::Count(sizes[s]) + " values";
        weft::bench::Figure({.name = "RegMonitorThread picture+comparison, " + size, .value = perTree[s] * 1e3,
                             .unit = "ms", .ratio = Median(ratios), .against = "raw walk", .goal = 1.3});
        weft::bench::CurvePoint(snapshots, "raw walk", sizes[s], Median(raw) * 1e3);
        weft::bench::CurvePoint(snapshots, "RegMonitorThread", sizes[s], perTree[s] * 1e3);
        RegCloseKey(root);
    }
    const double growth = perTree[2] / perTree[1];
    std::printf("RegMonitorThread 100,000 / 10,000 values  %.2f  goal <= 12: %s\n", growth,
                growth <= 12 ? "met" : "missed");
    weft::bench::Figure({.name = "RegMonitorThread growth, 10,000 -> 100,000 values", .value = perTree[2] * 1e3,
                         .unit = "ms", .ratio = growth, .against = "10,000 values", .goal = 12});

    // One change in the 10,000-value tree, to the window procedure.
    HANDLE arrived = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    double arrivedAt = 0;
    weft::test::MessageWindow window([&](UINT msg, WPARAM, LPARAM lParam) {
        if (msg != ChangeMsg)
            return;
        delete reinterpret_cast<RegChangeNotification*>(lParam);
        arrivedAt = NowSeconds();
        SetEvent(arrived);
    });
    const std::string key = base + "\\t10000";
    std::vector<double> latencies;
    {
        RegMonitorThread monitor(HKEY_CURRENT_USER, key.c_str(), true, ChangeMsg, window.Handle(), 0);
        for (int i = 0; i < 200 && latencies.size() < 11; ++i)
        {
            const std::string text = std::to_string(i);
            const double start = NowSeconds();
            RegSetKeyValueA(HKEY_CURRENT_USER, (key + "\\k3\\k1").c_str(), "changing", REG_SZ, text.c_str(),
                            static_cast<DWORD>(text.size() + 1));
            // The first changes may come before the monitor's baseline, and then tell nothing.
            if (WaitForSingleObject(arrived, i < 20 ? 250 : 10000) == WAIT_OBJECT_0 && i > 0)
                latencies.push_back(arrivedAt - start);
        }
    }
    const double latency = latencies.empty() ? 1e9 : Median(latencies);
    std::printf("RegMonitorThread one change in 10,000 values -> message  %.1f ms  goal <= 1000 ms: %s\n",
                latency * 1e3, latency <= 1.0 ? "met" : "missed");
    weft::bench::Figure(
        {.name = "RegMonitorThread one change in 10,000 values -> message", .value = latency * 1e3, .unit = "ms", .goal = 1000});
    CloseHandle(arrived);
    RegDeleteTreeA(HKEY_CURRENT_USER, base.c_str());
    RegDeleteKeyA(HKEY_CURRENT_USER, base.c_str());
    return 0;
}
