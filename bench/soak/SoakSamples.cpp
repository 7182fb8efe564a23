// The process's figures. Two of them need care under Wine, where GetProcessHandleCount gives 0:
// handles are counted by probing every handle value (multiples of 4) with GetHandleInformation up
// to twice the highest one found so far, at least 8192. Wine gives a PrivateUsage of 0 as well, so
// the committed private memory is also summed over the regions VirtualQuery lists. The heap is
// the C runtime's, which every module's new and malloc use; it is walked under its lock.
#include "soak/Soak.h"

#include <malloc.h>
#include <psapi.h>
#include <tlhelp32.h>

namespace weft::soak
{
namespace
{
double CountProbedHandles()
{
    static ULONG_PTR limit = 8192;
    ULONG_PTR highest = 0;
    double count = 0;
    for (ULONG_PTR value = 4; value < limit; value += 4)
    {
        DWORD flags = 0;
        if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags))
        {
            ++count;
            highest = value;
        }
    }
    if (highest * 2 > limit)
        limit = highest * 2;
    return count;
}

double CountThreads()
{
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return 0;
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    double count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry))
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    CloseHandle(snapshot);
    return count;
}

double SumPrivateCommitted()
{
    double bytes = 0;
    MEMORY_BASIC_INFORMATION info = {};
    for (const char* at = nullptr; VirtualQuery(at, &info, sizeof info) == sizeof info; at += info.RegionSize)
    {
        if (info.State == MEM_COMMIT && info.Type == MEM_PRIVATE)
            bytes += static_cast<double>(info.RegionSize);
        if (info.RegionSize == 0)
            break;
    }
    return bytes;
}

double CountHeapBlocks()
{
    HANDLE heap = reinterpret_cast<HANDLE>(_get_heap_handle());
    if (heap == nullptr || !HeapLock(heap))
        return 0;
    PROCESS_HEAP_ENTRY entry = {};
    double count = 0;
    while (HeapWalk(heap, &entry))
        count += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? 1 : 0;
    HeapUnlock(heap);
    return count;
}
}  // namespace

const char* FigureName(int figure)
{
    static const char* const names[FigureCount] = {"handles (probed)", "handles (GetProcessHandleCount)", "threads",
                                                   "USER objects", "GDI objects", "private bytes",
                                                   "private committed", "heap blocks"};
    return figure >= 0 && figure < FigureCount ? names[figure] : "?";
}

Sample TakeSample(double seconds)
{
    Sample s = {};
    s.seconds = seconds;
    DWORD reported = 0;
    GetProcessHandleCount(GetCurrentProcess(), &reported);
    s.values[HandlesProbed] = CountProbedHandles();
    s.values[HandlesReported] = reported;
    s.values[Threads] = CountThreads();
    s.values[UserObjects] = GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS);
    s.values[GdiObjects] = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
    PROCESS_MEMORY_COUNTERS_EX memory = {};
    memory.cb = sizeof memory;
    if (GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory), sizeof memory))
        s.values[PrivateBytes] = static_cast<double>(memory.PrivateUsage);
    s.values[PrivateCommitted] = SumPrivateCommitted();
    s.values[HeapBlocks] = CountHeapBlocks();
    return s;
}

double SlopePerHour(const std::vector<Sample>& samples, int figure, double fromSeconds)
{
    double n = 0, sx = 0, sy = 0, sxx = 0, sxy = 0;
    for (const Sample& s : samples)
    {
        if (s.seconds < fromSeconds)
            continue;
        n += 1;
        sx += s.seconds;
        sy += s.values[figure];
        sxx += s.seconds * s.seconds;
        sxy += s.seconds * s.values[figure];
    }
    const double denominator = n * sxx - sx * sx;
    if (n < 3 || denominator <= 0)
        return 0;
    return (n * sxy - sx * sy) / denominator * 3600.0;
}
}  // namespace weft::soak
