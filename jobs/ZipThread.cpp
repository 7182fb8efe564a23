#include "jobs/ZipThread.h"

// Registered by the module's static initialisers, before the module entry runs.
const unsigned int ZipThread::MSG_ZIPTHREAD_DONE = ::RegisterWindowMessageA("5F2D9B0E-3A42-46f4-9B58-DACF5E5CA5A0");
