// A message-only window pumped on its own thread, for benchmarks of threads that notify an
// owner window. Each message of WM_USER and above is stamped on the clock of NowSeconds() as it
// arrives; the benchmark takes the stamps in order with TakeNext. The window and its pump are
// the tests' MessageWindow (tests/support, free of GoogleTest).
#pragma once

#include "support/BenchSupport.h"
#include "support/MessageWindow.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace weft::bench
{
class BenchWindow
{
public:
    BenchWindow();

    // Null if the window could not be created.
    HWND Handle() const { return m_window.Handle(); }
    // Arrival time of the oldest message not yet taken, waiting up to timeoutMs; -1 if none came.
    double TakeNext(DWORD timeoutMs);
    // Runs cause n times, each time waiting for the message it brings (and taking any second
    // message of the same cause); gives n times the median latency in seconds, or a huge value
    // if a message was lost, so that the failure shows in the ratio.
    double MedianLatency(const std::function<void()>& cause, int n);

private:
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::deque<double> m_arrivals;
    weft::test::MessageWindow m_window;  // last: its thread has ended before the fields above go
};
}  // namespace weft::bench
