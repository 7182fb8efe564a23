// The example program is a tour of the library: each file adds its steps, run in order.
// With arguments, a file may also offer a tool ("weft_tour <tool> args...").
#pragma once

#include <string>
#include <vector>

namespace weft::tour
{
using Step = void (*)();
using Tool = int (*)(const std::vector<std::string>& args);

// What a tool gives for missing or wrong arguments: the program prints the tool's usage line
// and exits with 2.
constexpr int UsageError = -1;

struct StepRegistration
{
    StepRegistration(int order, const char* title, Step step);
};
struct ToolRegistration
{
    ToolRegistration(const char* name, const char* arguments, const char* what, Tool tool);
};

// Prints one line of the timeline: the seconds since the program started, then the text.
void Say(const char* format, ...);
// The performance-counter value at the program's start, so that a child process can stamp its
// lines on the same timeline.
long long StartCount();

// The tour's own scratch folder (with a trailing backslash) and registry key below
// HKEY_CURRENT_USER, made on first use; the program removes both when the tour ends.
const std::string& TourDir();
const std::string& TourKey();

// This program's path, to start itself as a child.
std::string ThisExe();

// A message of the "post" and "get" tools' mailboxes: the posting process, the message's
// number within its post, and its text.
struct Note
{
    unsigned long sender;
    unsigned long number;
    char text[120];
};
constexpr unsigned long NoteSlots = 4;
}  // namespace weft::tour

// A step of the tour; steps run by ascending order.
#define WEFT_TOUR_STEP(ident, order, title)                                                   \
    static void ident();                                                                      \
    static const ::weft::tour::StepRegistration ident##Registration(order, title, &ident);    \
    static void ident()

// A tool of the example program, run as "weft_tour <name> <arguments>"; `what` is one line for
// the help. The tool returns its exit code, or UsageError.
#define WEFT_TOUR_TOOL(ident, name, arguments, what)                                                \
    static int ident(const std::vector<std::string>& args);                                         \
    static const ::weft::tour::ToolRegistration ident##Registration(name, arguments, what, &ident); \
    static int ident(const std::vector<std::string>& args)
