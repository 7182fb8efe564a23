// A message-only window pumped on its own thread, for benchmarks of threads that notify an
// owner window. The window procedure stamps each message of WM_USER and above on the clock of
// NowSeconds() as it arrives; the benchmark takes the stamps in order with TakeNext.
#pragma once

#include "support/BenchSupport.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace weft::bench
{
class BenchWindow
{
public:
    BenchWindow();
    ~BenchWindow();
    BenchWindow(const BenchWindow&) = delete;
    BenchWindow& operator=(const BenchWindow&) = delete;

    // Null if the window could not be created.
    HWND Handle() const { return m_hWnd; }
    // Arrival time of the oldest message not yet taken, waiting up to timeoutMs; -1 if none came.
    double TakeNext(DWORD timeoutMs);

private:
    static LRESULT CALLBACK WindowProc(HWND wnd, UINT msg, WPARAM wParam, LPARAM lParam);
    void Pump();

    HANDLE m_evQuit;
    HWND m_hWnd = nullptr;
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    bool m_bReady = false;
    std::deque<double> m_arrivals;
    std::thread m_pump;
};
}  // namespace weft::bench
