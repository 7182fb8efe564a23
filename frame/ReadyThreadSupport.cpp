#include "frame/ReadyThreadSupport.h"

#include <atomic>
#include <new>

MTWorkerThread* ReadyThreadSupport::StartWorker(MTWorkerThread*& slot, unsigned int (*threadFunc)(void*), void* self)
{
    if (std::atomic_ref<MTWorkerThread*>(slot).load(std::memory_order_acquire) != nullptr)
        return nullptr;
    MTWorkerThread* worker = new (std::nothrow) MTWorkerThread(threadFunc, self);
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

bool ReadyThreadSupport::MayTell(HWND wnd, unsigned int msg, bool requireWindow)
{
    return wnd != nullptr && msg != 0 && (!requireWindow || ::IsWindow(wnd));
}

bool ReadyThreadSupport::NotifyOwner(HWND wnd, unsigned int msg, WPARAM wParam, LPARAM lParam, bool requireWindow)
{
    return MayTell(wnd, msg, requireWindow) && ::SendNotifyMessageA(wnd, msg, wParam, lParam);
}

bool ReadyThreadSupport::PostToOwner(HWND wnd, unsigned int msg, WPARAM wParam, LPARAM lParam, bool requireWindow)
{
    return MayTell(wnd, msg, requireWindow) && ::PostMessageA(wnd, msg, wParam, lParam);
}

bool ReadyThreadSupport::StopWorker(MTWorkerThread* worker, unsigned long timeout)
{
    if (worker == nullptr)
        return false;
    worker->Stop();
    // Only a time-out means a thread still running; a failed wait (no thread) is passed over.
    if (::WaitForSingleObject(worker->GetHandle(), timeout) != WAIT_TIMEOUT)
        return false;
    ::TerminateThread(worker->GetHandle(), 0);
    return true;
}

void ReadyThreadSupport::StopAndWait(MTWorkerThread* worker)
{
    if (worker == nullptr)
        return;
    worker->Stop();
    ::WaitForSingleObject(worker->GetHandle(), INFINITE);
}

void ReadyThreadSupport::DeleteWorker(MTWorkerThread*& slot)
{
    // The worker's thread object goes with the worker, so the function must have returned first.
    delete slot;
    slot = nullptr;
}

void ReadyThreadSupport::DestroyWorker(MTWorkerThread*& slot)
{
    StopAndWait(slot);
    DeleteWorker(slot);
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

void ReadyThreadSupport::ServeRequests(MTWorkerThread* worker, void* work, bool (*doWork)(void*), void* self)
{
    MTWaitableCollection waits;
    worker->AddStopEvent(&waits);
    waits.AddObject(work);
    while (waits.Wait(false, INFINITE) == WAIT_OBJECT_0 + 1)
    {
        if (!doWork(self))
            return;
    }
}

bool ReadyThreadSupport::StopRequested(const MTWorkerThread* worker)
{
    return worker == nullptr || worker->IsStopRequested();
}
