// Commands of the child program that cross-process tests start:
//   weft_testchild.exe <command> [args...]  — exit code is the command's result.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace weft::child
{
using Command = int (*)(const std::vector<std::string>& args);

inline std::map<std::string, Command>& Commands()
{
    static std::map<std::string, Command> commands;
    return commands;
}
}  // namespace weft::child

#define WEFT_CHILD_COMMAND(ident, name)                                                                       \
    static int ident(const std::vector<std::string>& args);                                                   \
    [[maybe_unused]] static const bool ident##Registered = (::weft::child::Commands()[name] = &ident, true);  \
    static int ident(const std::vector<std::string>& args)
