#include "frame/PausableWorkerThread.h"

PausableWorkerThread::PausableWorkerThread(unsigned int (*threadFunc)(void*), void* param)
    : MTWorkerThread(threadFunc, param), m_evPause(true, false, nullptr, nullptr)
{
}

PausableWorkerThread::~PausableWorkerThread() = default;

void PausableWorkerThread::Pause()
{
    m_evPause.Set();
}

void PausableWorkerThread::Resume()
{
    m_evPause.Reset();
    MTWorkerThread::Resume();
}

void PausableWorkerThread::AddPauseEvent(MTWaitableCollection* collection) const
{
    if (collection != nullptr)
        collection->AddObject(m_evPause);
}

void PausableWorkerThread::DoPause()
{
    DoSuspend();
}
