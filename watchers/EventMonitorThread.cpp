#include "watchers/EventMonitorThread.h"

#include "frame/ReadyThreadSupport.h"

#include <atomic>

namespace
{
// The delay crosses threads as a single aligned 32-bit load and store.
unsigned long LoadDelay(const unsigned long& field)
{
    return std::atomic_ref<unsigned long>(const_cast<unsigned long&>(field)).load(std::memory_order_relaxed);
}

constexpr unsigned long NoDelay = 0xFFFFFFFF;
constexpr unsigned long HandleSignalled = WAIT_OBJECT_0 + 1;
}  // namespace

EventMonitorThread::EventMonitorThread(void* const event, unsigned int msg, HWND wnd, unsigned long msgDelay,
                                       unsigned __int64 wParam, __int64 lParam)
    : m_hEvent(event), m_nMsgDelay(msgDelay), m_nMsg(msg), m_hWnd(wnd), m_wParam(wParam), m_lParam(lParam),
      m_pWorker(nullptr)
{
    ReadyThreadSupport::StartWorker(m_pWorker, EventMonitorThreadFunc, this);
}

EventMonitorThread::~EventMonitorThread()
{
    ReadyThreadSupport::DestroyWorker(m_pWorker);
    m_hWnd = nullptr;
    m_hEvent = nullptr;
}

void EventMonitorThread::SetPriority(int priority)
{
    ReadyThreadSupport::SetPriority(m_pWorker, priority);
}

int EventMonitorThread::GetPriority()
{
    return ReadyThreadSupport::GetPriority(m_pWorker);
}

void EventMonitorThread::Pause()
{
    ReadyThreadSupport::Pause(m_pWorker);
}

bool EventMonitorThread::IsPaused() const
{
    return ReadyThreadSupport::IsPaused(m_pWorker);
}

void EventMonitorThread::Resume()
{
    ReadyThreadSupport::Resume(m_pWorker);
}

void EventMonitorThread::Stop(unsigned long timeout)
{
    ReadyThreadSupport::StopWorker(m_pWorker, timeout);
}

void EventMonitorThread::SetMsgDelay(unsigned long msgDelay)
{
    std::atomic_ref<unsigned long>(m_nMsgDelay).store(msgDelay, std::memory_order_relaxed);
}

unsigned long EventMonitorThread::GetMsgDelay() const
{
    return LoadDelay(m_nMsgDelay);
}

unsigned int EventMonitorThread::EventMonitorThreadFunc(void* param)
{
    EventMonitorThread* self = static_cast<EventMonitorThread*>(param);
    if (self == nullptr)
        return 0;
    MTWorkerThread* worker = ReadyThreadSupport::AwaitWorker(self->m_pWorker);

    MTWaitableCollection waits;
    worker->AddStopEvent(&waits);  // index 0: a stop goes before the watched handle
    waits.AddObject(self->m_hEvent);
    // Null and all ones are no handles anywhere in the library (all ones would otherwise wait on
    // the current process): like a handle that makes the wait fail, the thread ends silently.
    if (worker->IsStopped() || !MTKernel::IsValidHandle(self->m_hEvent))
        return 0;

    // Idle: a wait without limit. Settling: a wait of the delay, with a message owed.
    unsigned long nextWait = INFINITE;
    bool timedOut = false;
    for (;;)
    {
        switch (waits.Wait(false, nextWait))
        {
        case HandleSignalled:
            break;
        case WAIT_TIMEOUT:
            timedOut = true;
            break;
        default:  // the stop, an abandoned or failed wait
            return 0;  // silently, and a message still owed is dropped
        }

        const unsigned long delay = LoadDelay(self->m_nMsgDelay);
        if (delay == NoDelay)
        {
            ReadyThreadSupport::NotifyOwner(self->m_hWnd, self->m_nMsg, self->m_wParam, self->m_lParam, false);
            nextWait = INFINITE;
        }
        else if (timedOut)
        {
            ReadyThreadSupport::NotifyOwner(self->m_hWnd, self->m_nMsg, self->m_wParam, self->m_lParam, false);
            timedOut = false;
            nextWait = INFINITE;
        }
        else
        {
            // A signal in a burst: the settling wait starts again from here.
            nextWait = delay;
        }
        // No poll of the stop event here: the next wait reports a set stop event at index 0
        // before the handle, also with a zero time-out, so the thread ends there just the same.
        // A poll would cost a kernel round trip on every signal, on the path to the next message.
    }
}
