#include "frame/MTWorkerThread.h"

#include "frame/CMTThread.h"

#include <new>

MTWorkerThread::MTWorkerThread(unsigned int (*threadFunc)(void*), void* param, unsigned int creationFlags,
                               _SECURITY_ATTRIBUTES* attributes, unsigned int stackSize)
    : m_state(NotStarted), m_threadId(0), m_pThread(nullptr), m_evStop(true, false, nullptr, nullptr)
{
    CMTThread* thread = new (std::nothrow) CMTThread(threadFunc, param);
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

MTWorkerThread::~MTWorkerThread()
{
    // The handle belongs to the thread object, which closes it.
    delete m_pThread;
    m_pThread = nullptr;
    m_handle = nullptr;
}

void MTWorkerThread::Pause()
{
    SuspendSelf();
}

void MTWorkerThread::SuspendSelf()
{
    if (m_pThread == nullptr || m_state == Paused)
        return;
    m_state = Paused;
    ::SuspendThread(m_pThread->m_hThread);
}

void MTWorkerThread::Resume()
{
    if (m_pThread == nullptr || m_state != Paused)
        return;
    ::ResumeThread(m_pThread->m_hThread);
    m_state = Running;
}

void MTWorkerThread::Stop()
{
    if (m_state == Paused)
        Resume();
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

void MTWorkerThread::AddStopEvent(MTWaitableCollection* collection) const
{
    if (collection != nullptr)
        collection->AddObject(m_evStop);
}
