#include "frame/MTWorkerThread.h"

#include "frame/CMTThread.h"


MTWorkerThread::MTWorkerThread(unsigned int (*threadFunc)(void*), void* param, unsigned int creationFlags,
                               _SECURITY_ATTRIBUTES* attributes, unsigned int stackSize)
    : m_state(NotStarted), m_threadId(0), m_pThread(nullptr), m_evStop(true, false, nullptr, nullptr)
{
    // The framework's allocator throws on failure; the null test serves one that does not.
    CMTThread* thread = new CMTThread(threadFunc, param);
    if (thread == nullptr)
    {
        m_status = ERROR_NOT_ENOUGH_MEMORY;
        return;
    }
    if (!thread->CreateThread(creationFlags, stackSize, attributes))
    {
        delete thread;
        m_status = ERROR_INVALID_DATA;
        return;
    }
    m_pThread = thread;
    m_threadId = thread->m_nThreadID;
    m_handle = thread->m_hThread;
    m_state = Running;
}

MTWorkerThread::MTWorkerThread(const MTWorkerThread& other)
    : MTKernel(other), m_state(other.m_state.load()), m_threadId(other.m_threadId), m_pThread(other.m_pThread),
      m_evStop(other.m_evStop), m_bStopRequested(other.m_bStopRequested.load())
{
}

MTWorkerThread& MTWorkerThread::operator=(const MTWorkerThread& other)
{
    MTKernel::operator=(other);
    m_state = other.m_state.load();
    m_threadId = other.m_threadId;
    m_pThread = other.m_pThread;
    m_evStop = other.m_evStop;
    m_bStopRequested = other.m_bStopRequested.load();
    return *this;
}

MTWorkerThread::~MTWorkerThread()
{
    // The handle belongs to the thread object, which closes it.
    delete m_pThread;
    m_pThread = nullptr;
    m_handle = nullptr;
}

void MTWorkerThread::Pause()
{
    DoSuspend();
}

void MTWorkerThread::DoSuspend()
{
    if (m_pThread == nullptr || m_state == Paused)
        return;
    const bool self = ::GetCurrentThreadId() == m_threadId;
    if (self)
        m_bSelfSuspending = true;
    m_state = Paused;
    ::SuspendThread(m_pThread->m_hThread);
    if (self)
        m_bSelfSuspending = false;
}

void MTWorkerThread::Resume()
{
    if (m_pThread == nullptr || m_state != Paused)
        return;
    HANDLE thread = m_pThread->m_hThread;
    // A thread pausing itself marks the state before it suspends. A ResumeThread that lands in
    // between finds a count of 0 and undoes nothing, and the thread would then stay suspended;
    // so repeat until the suspension is undone, or the thread has run on or ended.
    while (::ResumeThread(thread) == 0 && m_bSelfSuspending && ::WaitForSingleObject(thread, 0) == WAIT_TIMEOUT)
        ::SwitchToThread();
    m_state = Running;
}

void MTWorkerThread::Stop()
{
    if (m_state == Paused)
        Resume();
    m_bStopRequested.store(true, std::memory_order_release);
    m_evStop.Set();
}

void MTWorkerThread::SetPriority(int priority)
{
    if (m_pThread != nullptr)
        ::SetThreadPriority(m_pThread->m_hThread, priority);
}

int MTWorkerThread::GetPriority()
{
    return m_pThread != nullptr ? ::GetThreadPriority(m_pThread->m_hThread) : 0;
}

bool MTWorkerThread::IsPaused() const
{
    return m_state == Paused;
}

bool MTWorkerThread::IsStopped()
{
    return m_evStop.IsSet();
}

bool MTWorkerThread::IsStopRequested() const
{
    return m_bStopRequested.load(std::memory_order_acquire);
}

void MTWorkerThread::AddStopEvent(MTWaitableCollection* collection) const
{
    if (collection != nullptr)
        collection->AddObject(m_evStop);
}
