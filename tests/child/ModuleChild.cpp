// Child commands for the module frame's tests.
#include "child/ChildCommands.h"

#include "weftcore.h"

#include <cstdlib>

// Compares this process's four registered messages with the numbers given, in the order
// MSG_ZIPTHREAD_DONE, MSG_DCT_DRIVEADDED, MSG_DCT_DRIVECHANGED, MSG_DCT_DRIVEREMOVED.
// Exit code 0 if all four are equal, 1 if one differs, 2 if one is 0.
WEFT_CHILD_COMMAND(ModuleMessages, "module-messages")
{
    if (args.size() != 4)
        return 250;
    const unsigned int mine[4] = {ZipThread::MSG_ZIPTHREAD_DONE, DrivesChangeThread::MSG_DCT_DRIVEADDED,
                                  DrivesChangeThread::MSG_DCT_DRIVECHANGED, DrivesChangeThread::MSG_DCT_DRIVEREMOVED};
    for (int i = 0; i < 4; ++i)
    {
        if (mine[i] == 0)
            return 2;
        if (mine[i] != static_cast<unsigned int>(std::strtoul(args[i].c_str(), nullptr, 10)))
            return 1;
    }
    return 0;
}
