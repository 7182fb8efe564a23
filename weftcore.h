// Every public header of the library, and of the utility library it stands on.
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
#include "locks/MTCondition.h"
#include "locks/MTMonitor.h"
#include "locks/MultiReaderWriter.h"

#include "ipc/MTSharedMemory.h"
#include "ipc/MTMailbox.h"

#include "watchers/TimerThread.h"
#include "watchers/EventMonitorThread.h"
#include "watchers/DirMonitorThread.h"
#include "watchers/FileMonitorThread.h"
#include "watchers/DrivesChangeThread.h"
#include "watchers/FSChangeNotification.h"
#include "watchers/FSMonitorThread.h"
#include "watchers/RegMonitorThread.h"

#include "jobs/DirSummaryThread.h"
#include "jobs/FileDeleteThread.h"
#include "jobs/FindFileThread.h"
#include "jobs/ShellExecuteThread.h"
#include "jobs/ZipThread.h"

#include "app/SingleAdminGate.h"
#include "app/SingleInstanceApp.h"

#include "weftbase/WeftBase.h"
