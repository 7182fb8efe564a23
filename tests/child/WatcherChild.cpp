// Child commands for the watcher tests.
#include "child/ChildCommands.h"

#include <windows.h>

// Sets a text value below HKEY_CURRENT_USER, making the key. Exit code: the system's result.
WEFT_CHILD_COMMAND(RegSet, "reg-set")
{
    if (args.size() != 3)
        return 250;
    return static_cast<int>(RegSetKeyValueA(HKEY_CURRENT_USER, args[0].c_str(), args[1].c_str(), REG_SZ,
                                            args[2].c_str(), static_cast<DWORD>(args[2].size() + 1)));
}
