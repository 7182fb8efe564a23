// Every public header of the library.
#pragma once

#include "frame/MTKernel.h"
#include "frame/MTEvent.h"
#include "frame/MTMutex.h"
#include "frame/MTSemaphore.h"
#include "frame/MTWaitableCollection.h"
#include "frame/MTWorkerThread.h"
#include "frame/PausableWorkerThread.h"
#include "locks/MTCritSec.h"
#include "locks/Lockable.h"
#include "locks/MTAutoLock.h"
#include "watchers/TimerThread.h"
#include "watchers/EventMonitorThread.h"
