#include "child/ChildCommands.h"

#include <cstdio>
#include <cstring>
#include <map>

namespace weft::child
{
namespace
{
std::map<std::string, Command>& Commands()
{
    static std::map<std::string, Command> commands;
    return commands;
}
}  // namespace

Registration::Registration(const char* name, Command command)
{
    Commands()[name] = command;
}
}  // namespace weft::child

int main(int argc, char** argv)
{
    if (argc < 2)
    {
        std::fprintf(stderr, "usage: weft_testchild <command> [args...]\n");
        return 250;
    }
    auto it = weft::child::Commands().find(argv[1]);
    if (it == weft::child::Commands().end())
    {
        std::fprintf(stderr, "weft_testchild: unknown command %s\n", argv[1]);
        return 251;
    }
    return it->second(std::vector<std::string>(argv + 2, argv + argc));
}
