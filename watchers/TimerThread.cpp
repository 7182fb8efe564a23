#include "watchers/TimerThread.h"

#include "frame/ReadyThreadSupport.h"
#include "weftbase/DebugUtils.h"
#include "weftbase/SystemUtils.h"

#include <atomic>

namespace
{
// Period and decay rate cross threads as single aligned 32-bit loads and stores.
unsigned int LoadShared(const unsigned int& field)
{
    return std::atomic_ref<unsigned int>(const_cast<unsigned int&>(field)).load(std::memory_order_relaxed);
}

void StoreShared(unsigned int& field, unsigned int value)
{
    std::atomic_ref<unsigned int>(field).store(value, std::memory_order_relaxed);
}

enum TimerWait : unsigned long
{
    StopSignalled = WAIT_OBJECT_0,
    ResetSignalled = WAIT_OBJECT_0 + 1,
    StopAbandoned = WAIT_ABANDONED_0,
    ResetAbandoned = WAIT_ABANDONED_0 + 1,
    PeriodEnded = WAIT_TIMEOUT,
    WaitFailed = WAIT_FAILED,
};
}  // namespace

TimerThread::TimerThread(unsigned int msg, HWND wnd, unsigned int timeout, bool oneShot, unsigned __int64 wParam,
                         __int64 lParam)
    : m_bOneShot(oneShot), m_nTimeout(timeout), m_nDecayRate(0), m_nMsg(msg), m_hWnd(wnd), m_wParam(wParam),
      m_lParam(lParam), m_pWorker(nullptr)
{
    ReadyThreadSupport::StartWorker(m_pWorker, TimerThreadFunc, this);
}

TimerThread::~TimerThread()
{
    ReadyThreadSupport::DestroyWorker(m_pWorker);
    m_hWnd = nullptr;
}

void TimerThread::SetPriority(int priority)
{
    ReadyThreadSupport::SetPriority(m_pWorker, priority);
}

int TimerThread::GetPriority()
{
    return ReadyThreadSupport::GetPriority(m_pWorker);
}

void TimerThread::Pause()
{
    ReadyThreadSupport::Pause(m_pWorker);
}

bool TimerThread::IsPaused() const
{
    return ReadyThreadSupport::IsPaused(m_pWorker);
}

void TimerThread::Resume()
{
    ReadyThreadSupport::Resume(m_pWorker);
}

void TimerThread::Stop(unsigned long timeout)
{
    ReadyThreadSupport::StopWorker(m_pWorker, timeout);
}

unsigned int TimerThread::GetTimeout() const
{
    return LoadShared(m_nTimeout);
}

void TimerThread::SetTimeout(unsigned int timeout)
{
    if (timeout == LoadShared(m_nTimeout))
        return;
    // Stored before the signal, so that the woken thread waits with the new length.
    StoreShared(m_nTimeout, timeout);
    m_evReset.Set();
}

void TimerThread::Reset()
{
    m_evReset.Set();
}

void TimerThread::SetAsDecaying(bool decaying)
{
    StoreShared(m_nDecayRate, decaying ? 1u : 0u);
}

bool TimerThread::GetAsDecaying() const
{
    return LoadShared(m_nDecayRate) != 0;
}

void TimerThread::ResetDecayRate()
{
    if (LoadShared(m_nDecayRate) > 1)
        StoreShared(m_nDecayRate, 1);
}

unsigned int TimerThread::TimerThreadFunc(void* param)
{
    TimerThread* self = static_cast<TimerThread*>(param);
    if (self == nullptr)
        return 0;
    MTWorkerThread* worker = ReadyThreadSupport::AwaitWorker(self->m_pWorker);

    MTWaitableCollection waits;
    worker->AddStopEvent(&waits);  // index 0: a stop goes before a reset
    waits.AddObject(self->m_evReset);

    // Cleared by the first message that goes out; whatever ends the loop, a timer that has not
    // yet told its owner anything does so once on the way out.
    bool lastMessageDue = true;
    bool running = true;
    while (running)
    {
        const unsigned int decayRate = LoadShared(self->m_nDecayRate);
        unsigned int length = LoadShared(self->m_nTimeout);
        if (decayRate != 0)
            length *= decayRate;

        switch (waits.Wait(false, length))
        {
        case StopSignalled:
            running = false;
            break;
        case ResetSignalled:
            break;
        case PeriodEnded:
            if (self->m_bOneShot)
                running = false;
            else if (ReadyThreadSupport::NotifyOwner(self->m_hWnd, self->m_nMsg, self->m_wParam, self->m_lParam,
                                                     false))
                lastMessageDue = false;
            break;
        case StopAbandoned:
            DebugUtils::Trace("WAIT_ABANDONED_0");
            running = false;
            break;
        case ResetAbandoned:
            DebugUtils::Trace("WAIT_ABANDONED_0 + 1");
            running = false;
            break;
        case WaitFailed:
            DebugUtils::Trace(SystemUtils::GetLastError(0));
            running = false;
            break;
        default:
            DebugUtils::Trace("(unknown error");
            running = false;
            break;
        }
        if (running)
            self->ResetDecayRate();
    }

    if (lastMessageDue)
        ReadyThreadSupport::NotifyOwner(self->m_hWnd, self->m_nMsg, self->m_wParam, self->m_lParam, false);
    return 0;
}
