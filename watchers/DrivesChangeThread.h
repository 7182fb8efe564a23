// DrivesChangeThread: polls the drive list and tells its owner window of drives that come, go or
// change, with three registered messages (wParam: the drive letter).
//
// The message numbers are registered when the module loads, from fixed strings, so every process
// that loads the library (or registers those strings itself) gets the same numbers. They differ
// from run to run of the system: compare incoming messages with the members, never with constants.
#pragma once

#include "module/WeftCoreApi.h"

class WEFTCORE_API DrivesChangeThread
{
public:
    // RegisterWindowMessageA("C60CDF6F-582F-409F-9145-0F9756CF8FC8"); 0 if the registration failed.
    static const unsigned int MSG_DCT_DRIVEADDED;
    // RegisterWindowMessageA("FC416357-3DE0-47C5-9C8F-45DD07D2DDD0"); 0 if the registration failed.
    static const unsigned int MSG_DCT_DRIVECHANGED;
    // RegisterWindowMessageA("1AB91673-9DA1-4E7D-B57A-15EB23484FB7"); 0 if the registration failed.
    static const unsigned int MSG_DCT_DRIVEREMOVED;
};
