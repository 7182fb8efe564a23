#include "watchers/ReadyThreadSupport.h"

#include <atomic>
#include <new>

MTWorkerThread* ReadyThreadSupport::StartWorker(MTWorkerThread*& slot, unsigned int (*threadFunc)(void*), void* self)
{
    MTWorkerThread* worker = new (std::nothrow) MTWorkerThread(threadFunc, self, 0, nullptr, 0);
    // Release: the polling thread that sees the pointer also sees the constructed worker.
    std::atomic_ref<MTWorkerThread*>(slot).store(worker, std::memory_order_release);
    return worker;
}

MTWorkerThread* ReadyThreadSupport::AwaitWorker(MTWorkerThread*& slot)
{
    std::atomic_ref<MTWorkerThread*> published(slot);
    MTWorkerThread* worker = published.load(std::memory_order_acquire);
    while (worker == nullptr)
    {
        ::Sleep(5);
        worker = published.load(std::memory_order_acquire);
    }
    return worker;
}

bool ReadyThreadSupport::NotifyOwner(HWND wnd, unsigned int msg, WPARAM wParam, LPARAM lParam, bool requireWindow)
{
    if (wnd == nullptr || msg == 0)
        return false;
    if (requireWindow && !::IsWindow(wnd))
        return false;
    ::SendNotifyMessageA(wnd, msg, wParam, lParam);
    return true;
}

void ReadyThreadSupport::StopWorker(MTWorkerThread* worker, unsigned long timeout)
{
    if (worker == nullptr)
        return;
    worker->Stop();
    // Only a time-out means a thread still running; a failed wait (no thread) is passed over.
    if (::WaitForSingleObject(worker->GetHandle(), timeout) == WAIT_TIMEOUT)
        ::TerminateThread(worker->GetHandle(), 0);
}

void ReadyThreadSupport::DestroyWorker(MTWorkerThread*& slot)
{
    if (slot == nullptr)
        return;
    slot->Stop();
    // The worker's thread object goes with the worker, so the function must have returned first.
    ::WaitForSingleObject(slot->GetHandle(), INFINITE);
    delete slot;
    slot = nullptr;
}

void ReadyThreadSupport::SetPriority(MTWorkerThread* worker, int priority)
{
    if (worker != nullptr)
        worker->SetPriority(priority);
}

int ReadyThreadSupport::GetPriority(MTWorkerThread* worker)
{
    return worker != nullptr ? worker->GetPriority() : 0;
}

void ReadyThreadSupport::Pause(MTWorkerThread* worker)
{
    if (worker != nullptr)
        worker->Pause();
}

void ReadyThreadSupport::Resume(MTWorkerThread* worker)
{
    if (worker != nullptr)
        worker->Resume();
}

bool ReadyThreadSupport::IsPaused(const MTWorkerThread* worker)
{
    return worker != nullptr && worker->IsPaused();
}
