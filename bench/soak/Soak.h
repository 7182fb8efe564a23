// The soak program: every watcher, job and the mailbox run side by side under churn for minutes,
// and each part accounts afterwards for what it caused and what it received. One part per file:
// SoakWatchers (file, directory and registry monitors over a churned tree and key), SoakMailbox
// (producer processes that are killed at random, consumer threads), SoakCycles (timers, event
// monitors and the jobs, made and ended in a loop), SoakSamples (the process's figures over time).
#pragma once

#include "support/Waits.h"

#include <windows.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace weft::soak
{
// One line of the closing table: a rule, whether it held, and the counts behind it.
struct Check
{
    std::string name;
    bool passed;
    std::string detail;
};

// One concern of the soak. Run works until stop is set, on a thread of its own, and leaves
// nothing running behind it; Finish then adds its checks.
class Part
{
public:
    virtual ~Part() = default;
    virtual const char* Name() const = 0;
    virtual void Run(const std::atomic<bool>& stop) = 0;
    virtual void Finish(std::vector<Check>& checks) = 0;
};

std::unique_ptr<Part> MakeWatcherPart();
// exe: this program's own path, started with the "producer" subcommand.
std::unique_ptr<Part> MakeMailboxPart(const std::string& exe);
std::unique_ptr<Part> MakeTimerPart();
std::unique_ptr<Part> MakeJobPart();

// The child subcommand: producer <mailbox> <progress block> <stop event> <id>.
int ProducerMain(int argc, char** argv);

// Seconds on a monotonic clock.
double Now();
// Time-outs scaled by WEFT_TIMEOUT_SCALE, and polls for a condition, as the tests have them.
using weft::test::Scaled;
using weft::test::WaitUntil;
// A name unique to this process: prefix + process id.
std::string UniqueName(const char* prefix);
// "a=1 b=2" from pairs of label and number.
std::string Counts(std::initializer_list<std::pair<const char*, long long>> counts);
}  // namespace weft::soak

namespace weft::soak
{
// The figures sampled every few seconds.
enum Figure
{
    HandlesProbed,    // handle values 4, 8, ... that GetHandleInformation accepts
    HandlesReported,  // GetProcessHandleCount
    Threads,          // Toolhelp32 thread entries of this process
    UserObjects,      // GetGuiResources(GR_USEROBJECTS)
    GdiObjects,       // GetGuiResources(GR_GDIOBJECTS)
    PrivateBytes,     // GetProcessMemoryInfo PrivateUsage
    PrivateCommitted, // committed private regions that VirtualQuery lists
    HeapBlocks,       // busy blocks of the C runtime's heap (HeapWalk)
    FigureCount
};
const char* FigureName(int figure);

struct Sample
{
    double seconds;
    double values[FigureCount];
};
Sample TakeSample(double seconds);
// Least-squares slope per hour of one figure over the samples at or after fromSeconds; 0 with
// fewer than three.
double SlopePerHour(const std::vector<Sample>& samples, int figure, double fromSeconds);
}  // namespace weft::soak
