// weft_tour: with no arguments, a tour of the library on embedded defaults; with arguments,
// one of its tools.
#include "TourSteps.h"

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
    const char* usage;
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
}  // namespace

StepRegistration::StepRegistration(int order, const char* title, Step step)
{
    Steps().insert({order, {title, step}});
}

ToolRegistration::ToolRegistration(const char* name, const char* usage, Tool tool)
{
    Tools()[name] = {usage, tool};
}

void Say(const char* format, ...)
{
    std::printf("    ");
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::printf("\n");
    std::fflush(stdout);
}
}  // namespace weft::tour

int main(int argc, char** argv)
{
    using namespace weft::tour;
    if (argc >= 2)
    {
        auto it = Tools().find(argv[1]);
        if (it == Tools().end())
        {
            std::printf("usage: weft_tour                 (the tour)\n");
            for (const auto& [name, entry] : Tools())
                std::printf("       weft_tour %s %s\n", name.c_str(), entry.usage);
            return 2;
        }
        return it->second.tool(std::vector<std::string>(argv + 2, argv + argc));
    }
    std::printf("weftcore tour\n");
    for (const auto& [order, entry] : Steps())
    {
        std::printf("\n== %s\n", entry.title);
        std::fflush(stdout);
        entry.step();
    }
    std::printf("\ntour complete\n");
    return 0;
}
