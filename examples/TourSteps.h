// The example program is a tour of the library: each file adds its steps, run in order.
// With arguments, a file may also offer a tool ("weft_tour <tool> args...").
#pragma once

#include <string>
#include <vector>

namespace weft::tour
{
using Step = void (*)();
using Tool = int (*)(const std::vector<std::string>& args);

struct StepRegistration
{
    StepRegistration(int order, const char* title, Step step);
};
struct ToolRegistration
{
    ToolRegistration(const char* name, const char* usage, Tool tool);
};

// Prints one line of the tour, indented under its step.
void Say(const char* format, ...);
}  // namespace weft::tour

// A step of the tour; steps run by ascending order.
#define WEFT_TOUR_STEP(ident, order, title)                                                   \
    static void ident();                                                                      \
    static const ::weft::tour::StepRegistration ident##Registration(order, title, &ident);    \
    static void ident()

// A tool of the example program, run as "weft_tour <name> args...".
#define WEFT_TOUR_TOOL(ident, name, usage)                                                    \
    static int ident(const std::vector<std::string>& args);                                   \
    static const ::weft::tour::ToolRegistration ident##Registration(name, usage, &ident);     \
    static int ident(const std::vector<std::string>& args)
