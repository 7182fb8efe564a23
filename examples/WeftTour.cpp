// weft_tour: with no arguments, a tour of the library on embedded defaults, printed as a
// timeline; with arguments, one of its tools ("weft_tour help" lists them).
#include "TourSteps.h"

#include "weftcore.h"

#include <cstdarg>
#include <cstdio>
#include <map>
#include <string>

namespace weft::tour
{
namespace
{
struct StepEntry
{
    const char* title;
    Step step;
};
struct ToolEntry
{
    const char* arguments;
    const char* what;
    Tool tool;
};

std::multimap<int, StepEntry>& Steps()
{
    static std::multimap<int, StepEntry> steps;
    return steps;
}

std::map<std::string, ToolEntry>& Tools()
{
    static std::map<std::string, ToolEntry> tools;
    return tools;
}

long long Now()
{
    LARGE_INTEGER count;
    QueryPerformanceCounter(&count);
    return count.QuadPart;
}

const long long g_start = Now();

void PrintTools()
{
    std::printf("usage: weft_tour                 the tour, on its own temporary folder and registry key\n"
                "       weft_tour help            this list\n");
    for (const auto& [name, entry] : Tools())
        std::printf("       weft_tour %s%s%s\n           %s\n", name.c_str(), *entry.arguments ? " " : "",
                    entry.arguments, entry.what);
}

// Removes whatever of the tour's folder and key the steps left.
void CleanUp()
{
    if (DirUtils::DoesDirExist(TourDir().c_str()))
        DirUtils::DeleteDirectory(TourDir().c_str(), 0, nullptr, nullptr, nullptr);
    Say("folder %s: %s", TourDir().c_str(), DirUtils::DoesDirExist(TourDir().c_str()) ? "still there" : "gone");
    RegDeleteTreeA(HKEY_CURRENT_USER, TourKey().c_str());
    RegDeleteKeyA(HKEY_CURRENT_USER, TourKey().c_str());
    HKEY key = nullptr;
    const bool left = RegOpenKeyExA(HKEY_CURRENT_USER, TourKey().c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS;
    if (left)
        RegCloseKey(key);
    Say("key HKCU\\%s: %s", TourKey().c_str(), left ? "still there" : "gone");
}
}  // namespace

StepRegistration::StepRegistration(int order, const char* title, Step step)
{
    Steps().insert({order, {title, step}});
}

ToolRegistration::ToolRegistration(const char* name, const char* arguments, const char* what, Tool tool)
{
    Tools()[name] = {arguments, what, tool};
}

long long StartCount()
{
    return g_start;
}

void Say(const char* format, ...)
{
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    char stamp[32];
    std::snprintf(stamp, sizeof stamp, "+%.3f", static_cast<double>(Now() - g_start) / frequency.QuadPart);
    std::printf("  %7s s  ", stamp);
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::printf("\n");
    std::fflush(stdout);
}

const std::string& TourDir()
{
    static const std::string dir = [] {
        char temp[MAX_PATH + 1] = {};
        GetTempPathA(MAX_PATH, temp);
        const std::string path = std::string(temp) + "weft_tour_" + std::to_string(GetCurrentProcessId()) + "\\";
        CreateDirectoryA(path.c_str(), nullptr);
        return path;
    }();
    return dir;
}

const std::string& TourKey()
{
    static const std::string key = [] {
        const std::string path = "Software\\weft-tour-" + std::to_string(GetCurrentProcessId());
        HKEY made = nullptr;
        if (RegCreateKeyExA(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &made, nullptr) ==
            ERROR_SUCCESS)
            RegCloseKey(made);
        return path;
    }();
    return key;
}

std::string ThisExe()
{
    char exe[MAX_PATH + 1] = {};
    GetModuleFileNameA(nullptr, exe, MAX_PATH);  // the spare byte ends even a truncated path
    return exe;
}
}  // namespace weft::tour

int main(int argc, char** argv)
{
    using namespace weft::tour;
    if (argc >= 2)
    {
        const std::string name = argv[1];
        if (name == "help" || name == "-h" || name == "--help")
        {
            PrintTools();
            return 0;
        }
        auto it = Tools().find(name);
        if (it == Tools().end())
        {
            std::printf("unknown tool \"%s\"\n", name.c_str());
            PrintTools();
            return 2;
        }
        const int code = it->second.tool(std::vector<std::string>(argv + 2, argv + argc));
        if (code != UsageError)
            return code;
        std::printf("usage: weft_tour %s%s%s\n", name.c_str(), *it->second.arguments ? " " : "", it->second.arguments);
        return 2;
    }
    std::printf("weftcore tour: each line gives the seconds since the start\n");
    for (const auto& [order, entry] : Steps())
    {
        std::printf("\n== %s\n", entry.title);
        std::fflush(stdout);
        entry.step();
    }
    std::printf("\n== Clean-up\n");
    CleanUp();
    Say("tour complete");
    return 0;
}
