// Every public header of the library.
#pragma once

#include "frame/MTKernel.h"
#include "frame/MTEvent.h"
#include "frame/MTMutex.h"
#include "frame/MTSemaphore.h"
#include "frame/MTWaitableCollection.h"
#include "frame/MTWorkerThread.h"
#include "frame/PausableWorkerThread.h"
#include "ipc/MTSharedMemory.h"
#include "ipc/MTMailbox.h"
#include "jobs/ZipThread.h"
#include "watchers/DrivesChangeThread.h"
#include "weftbase/WeftBase.h"
