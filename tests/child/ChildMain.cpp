#include "child/ChildCommands.h"

#include <cstdio>

// weft_testchild <command> [args...]: 250 for a call of no known command.
int main(int argc, char** argv)
{
    const auto& commands = weft::child::Commands();
    const auto it = argc < 2 ? commands.end() : commands.find(argv[1]);
    if (it == commands.end())
        return std::fprintf(stderr, "weft_testchild: no such command\n"), 250;
    return it->second(std::vector<std::string>(argv + 2, argv + argc));
}
