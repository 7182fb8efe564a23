// ZipThread: packs a directory or a list of files into a zip file in the background and tells
// its owner window with the registered message MSG_ZIPTHREAD_DONE when the job has ended.
//
// The message number is registered when the module loads, from a fixed string, so every process
// that loads the library (or registers that string itself) gets the same number. It differs from
// run to run of the system: compare incoming messages with the member, never with a constant.
#pragma once

#include "module/WeftCoreApi.h"

class WEFTCORE_API ZipThread
{
public:
    // RegisterWindowMessageA("5F2D9B0E-3A42-46f4-9B58-DACF5E5CA5A0"); 0 if the registration failed.
    static const unsigned int MSG_ZIPTHREAD_DONE;
};
