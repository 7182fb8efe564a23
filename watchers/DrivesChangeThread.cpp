#include "watchers/DrivesChangeThread.h"

// Registered by the module's static initialisers, before the module entry runs.
const unsigned int DrivesChangeThread::MSG_DCT_DRIVEADDED =
    ::RegisterWindowMessageA("C60CDF6F-582F-409F-9145-0F9756CF8FC8");
const unsigned int DrivesChangeThread::MSG_DCT_DRIVECHANGED =
    ::RegisterWindowMessageA("FC416357-3DE0-47C5-9C8F-45DD07D2DDD0");
const unsigned int DrivesChangeThread::MSG_DCT_DRIVEREMOVED =
    ::RegisterWindowMessageA("1AB91673-9DA1-4E7D-B57A-15EB23484FB7");
