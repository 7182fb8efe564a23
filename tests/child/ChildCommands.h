// Commands of the child program that cross-process tests start:
//   weft_testchild.exe <command> [args...]  — exit code is the command's result.
#pragma once

#include <string>
#include <vector>

namespace weft::child
{
using Command = int (*)(const std::vector<std::string>& args);

struct Registration
{
    Registration(const char* name, Command command);
};
}  // namespace weft::child

#define WEFT_CHILD_COMMAND(ident, name)                                               \
    static int ident(const std::vector<std::string>& args);                           \
    static const ::weft::child::Registration ident##Registration(name, &ident);       \
    static int ident(const std::vector<std::string>& args)
