#include "watchers/DirMonitorThread.h"

#include "frame/ReadyThreadSupport.h"
#include "locks/MTAutoLock.h"
#include "weftbase/DebugUtils.h"
#include "weftbase/DirUtils.h"

#include <atomic>

namespace
{
constexpr unsigned long NoDelay = 0xFFFFFFFF;

// The filter bits in the order their handles are opened.
constexpr unsigned long FilterBits[] = {
    FILE_NOTIFY_CHANGE_FILE_NAME, FILE_NOTIFY_CHANGE_DIR_NAME,   FILE_NOTIFY_CHANGE_ATTRIBUTES,
    FILE_NOTIFY_CHANGE_SIZE,      FILE_NOTIFY_CHANGE_LAST_WRITE, FILE_NOTIFY_CHANGE_SECURITY,
};

// Fields that cross threads are single aligned 32-bit values, read and written whole.
unsigned long Load(const unsigned long& field)
{
    return std::atomic_ref<unsigned long>(const_cast<unsigned long&>(field)).load(std::memory_order_relaxed);
}

void Store(unsigned long& field, unsigned long value)
{
    std::atomic_ref<unsigned long>(field).store(value, std::memory_order_relaxed);
}
}  // namespace

DirMonitorThread::DirMonitorThread(const CString& dir, bool subtree, unsigned long filter, unsigned int msg,
                                   HWND wnd, unsigned long msgDelay, __int64 lParam, bool progressive)
    : DirMonitorThread(dir, subtree, filter, msg, wnd, msgDelay, lParam, progressive, HeldBack())
{
    ReleaseThread();
}

DirMonitorThread::DirMonitorThread(const CString& dir, bool subtree, unsigned long filter, unsigned int msg,
                                   HWND wnd, unsigned long msgDelay, __int64 lParam, bool progressive, HeldBack)
    : m_bSubtree(subtree), m_nMsgDelay(msgDelay), m_nProgDelay(progressive ? 1 : 0), m_nFilter(filter),
      m_nNotificationsReceived(0), m_hChange{}, m_nMsg(msg), m_hWnd(wnd), m_lParam(lParam), m_pWorker(nullptr),
      m_pMutex(nullptr), m_strDir(dir)
{
    if (!DirUtils::IsDir(m_strDir, true) || !DirUtils::DoesDirExist(m_strDir))
    {
        m_strDir.Empty();
        return;
    }
    DirUtils::EnsureTrailingBackslash(m_strDir);
    m_pMutex = new MTMutex(false, "wl_dmt_mutex", nullptr);
    // Without its start event the thread is held back by not starting it before ReleaseThread.
    if (m_evReady.IsValidHandle())
        ReadyThreadSupport::StartWorker(m_pWorker, DirMonitorThreadFunc, this);
}

DirMonitorThread::~DirMonitorThread()
{
    StopThread();
    for (void*& handle : m_hChange)
    {
        if (MTKernel::IsValidHandle(handle))
            ::FindCloseChangeNotification(handle);
        handle = nullptr;
    }
    delete m_pMutex;
    m_pMutex = nullptr;
    ReadyThreadSupport::DeleteWorker(m_pWorker);
    m_hWnd = nullptr;
}

void DirMonitorThread::ReleaseThread()
{
    if (m_evReady.IsValidHandle())
        m_evReady.Set();
    else if (m_pMutex != nullptr)
        ReadyThreadSupport::StartWorker(m_pWorker, DirMonitorThreadFunc, this);
}

void DirMonitorThread::StopThread()
{
    ReadyThreadSupport::StopAndWait(m_pWorker);
}

CString DirMonitorThread::GetDir() const
{
    return m_strDir;
}

void DirMonitorThread::SetPriority(int priority)
{
    ReadyThreadSupport::SetPriority(m_pWorker, priority);
}

int DirMonitorThread::GetPriority() const
{
    return ReadyThreadSupport::GetPriority(m_pWorker);
}

void DirMonitorThread::Pause()
{
    ReadyThreadSupport::Pause(m_pWorker);
}

bool DirMonitorThread::IsPaused() const
{
    return ReadyThreadSupport::IsPaused(m_pWorker);
}

void DirMonitorThread::Resume()
{
    ReadyThreadSupport::Resume(m_pWorker);
}

void DirMonitorThread::Stop(unsigned long timeout)
{
    ReadyThreadSupport::StopWorker(m_pWorker, timeout);
}

void DirMonitorThread::SetMsgDelay(unsigned long msgDelay)
{
    MTAutoLock hold(m_pMutex);
    Store(m_nMsgDelay, msgDelay);
}

unsigned long DirMonitorThread::GetMsgDelay() const
{
    return Load(m_nMsgDelay);
}

void DirMonitorThread::ResetProgDelay()
{
    MTAutoLock hold(m_pMutex);
    if (Load(m_nProgDelay) > 1)
    {
        Store(m_nProgDelay, 1);
        DebugUtils::Trace();
    }
}

unsigned long DirMonitorThread::GetNotificationsReceived() const
{
    return Load(m_nNotificationsReceived);
}

void DirMonitorThread::ResetNotificationsReceived()
{
    Store(m_nNotificationsReceived, 0);
}

void* DirMonitorThread::GetNotificationHandle(int index) const
{
    int seen = 0;
    for (void* handle : m_hChange)
        if (MTKernel::IsValidHandle(handle) && ++seen == index)
            return handle;
    return nullptr;
}

unsigned long DirMonitorThread::GetNotificationParam(int index) const
{
    int seen = 0;
    for (int i = 0; i < HandleCount; ++i)
        if (MTKernel::IsValidHandle(m_hChange[i]) && ++seen == index)
            return FilterBits[i];
    return 0;
}

unsigned long DirMonitorThread::DoInit(MTWaitableCollection* collection)
{
    if (collection == nullptr)
        return 0;
    // A drive root ("C:\") is always watched with its subtree.
    const bool subtree = m_bSubtree || m_strDir.GetLength() == 3;
    m_params.clear();
    for (int i = 0; i < HandleCount; ++i)
    {
        if ((m_nFilter & FilterBits[i]) == 0)
            continue;
        m_hChange[i] = ::FindFirstChangeNotificationA(m_strDir, subtree, FilterBits[i]);
        if (m_hChange[i] == INVALID_HANDLE_VALUE)
            continue;
        collection->AddObject(m_hChange[i]);
        m_params.push_back(FilterBits[i]);
    }
    return NoDelay;
}

unsigned long DirMonitorThread::ProcessChange(int index)
{
    const unsigned long bit = GetNotificationParam(index);
    if (Load(m_nMsgDelay) == NoDelay)
    {
        BroadcastMsg(bit, 0);
        if (Load(m_nNotificationsReceived) != 0)
        {
            MTAutoLock hold(m_pMutex);
            Store(m_nNotificationsReceived, 0);
        }
    }
    else
    {
        MTAutoLock hold(m_pMutex);
        Store(m_nNotificationsReceived, Load(m_nNotificationsReceived) | bit);
    }
    ::FindNextChangeNotification(GetNotificationHandle(index));
    return Load(m_nMsgDelay);
}

unsigned long DirMonitorThread::DoTimeout()
{
    BroadcastMsg(0, 0);
    const bool progressive = Load(m_nProgDelay) > 0 && Load(m_nMsgDelay) != NoDelay;
    const unsigned long received = Load(m_nNotificationsReceived);
    {
        MTAutoLock hold(m_pMutex);
        if (progressive && received != 0 && Load(m_nProgDelay) >= 2)
            Store(m_nProgDelay, 1);
    }
    Store(m_nNotificationsReceived, 0);
    if (!progressive)
        return NoDelay;
    const unsigned long next = Load(m_nProgDelay) * Load(m_nMsgDelay);
    if (received == 0)
    {
        MTAutoLock hold(m_pMutex);
        Store(m_nProgDelay, Load(m_nProgDelay) + 1);
    }
    return next;
}

void DirMonitorThread::BroadcastMsg(unsigned __int64 wParam, __int64 lParam)
{
    ReadyThreadSupport::NotifyOwner(m_hWnd, m_nMsg, wParam != 0 ? wParam : Load(m_nNotificationsReceived),
                                    lParam != 0 ? lParam : m_lParam, true);
}

unsigned int DirMonitorThread::DirMonitorThreadFunc(void* param)
{
    DirMonitorThread* self = static_cast<DirMonitorThread*>(param);
    if (self == nullptr)
        return 0;
    MTWorkerThread* worker = ReadyThreadSupport::AwaitWorker(self->m_pWorker);
    MTWaitableCollection waits;
    worker->AddStopEvent(&waits);
    // Nothing virtual runs before the object is whole: a stop before that ends the thread. A
    // thread started without the start event was started by ReleaseThread, once the object was whole.
    MTWaitableCollection start(waits);
    start.AddObject(self->m_evReady);
    if (self->m_evReady.IsValidHandle() && start.Wait(false, INFINITE) != WAIT_OBJECT_0 + 1)
        return 0;
    unsigned long timeout = self->DoInit(&waits);
    while (!worker->IsStopped())
    {
        const unsigned long result = waits.Wait(false, timeout);
        if (result == WAIT_TIMEOUT)
            timeout = self->DoTimeout();
        else if (result >= WAIT_OBJECT_0 + 1 && result < static_cast<unsigned long>(waits.GetCount()))
            timeout = self->ProcessChange(static_cast<int>(result));
        else
            return 0;  // the stop, an abandoned or failed wait: no message, no trace
    }
    return 0;
}
