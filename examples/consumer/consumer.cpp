// A program built against the installed package: a worker thread that hands a result back under
// a lock, and the version resources of the DLLs it loaded. Exit code: the number of failures.
#include "weftcore.h"

#include <cstdio>
#include <cstring>
#include <vector>

namespace
{
struct Job
{
    MTCritSec lock;
    int input = 21;
    int output = 0;
};

// Doubles the job's number on the worker thread.
unsigned int Double(void* param)
{
    Job* job = static_cast<Job*>(param);
    {
        MTAutoLock guard(&job->lock);
        job->output = job->input * 2;
    }
    return 0;
}

// The "FileVersion" text of a loaded module's version resource, or "" without one.
std::string FileVersion(const char* module)
{
    char path[MAX_PATH] = {};
    if (!GetModuleFileNameA(GetModuleHandleA(module), path, MAX_PATH))
        return "";
    DWORD ignored = 0;
    std::vector<char> data(GetFileVersionInfoSizeA(path, &ignored));
    char* text = nullptr;
    UINT length = 0;
    if (data.empty() || !GetFileVersionInfoA(path, 0, static_cast<DWORD>(data.size()), data.data()) ||
        !VerQueryValueA(data.data(), "\\StringFileInfo\\040904b0\\FileVersion", reinterpret_cast<void**>(&text), &length))
        return "";
    return std::string(text, length ? length - 1 : 0);
}
}  // namespace

int main()
{
    int failures = 0;
    for (const char* module : {"weftcore.dll", "weftbase.dll"})
    {
        std::string version = FileVersion(module);
        std::printf("%s version %s\n", module, version.c_str());
        failures += version != WEFTCORE_PACKAGE_VERSION;
    }
    std::printf("package version %s\n", WEFTCORE_PACKAGE_VERSION);

    Job job;
    MTWorkerThread worker(Double, &job);
    bool ended = worker.Wait(10000) == WAIT_OBJECT_0;
    MTAutoLock guard(&job.lock);
    std::printf("worker: status %lu, ended %s, 21 doubled is %d\n", worker.GetStatus(), ended ? "yes" : "no", job.output);
    failures += !ended || job.output != 42;
    return failures;
}
