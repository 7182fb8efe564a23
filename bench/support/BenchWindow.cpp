#include "support/BenchWindow.h"

#include <algorithm>
#include <chrono>
#include <vector>

namespace weft::bench
{
BenchWindow::BenchWindow()
    : m_window([this](UINT msg, WPARAM, LPARAM) {
          if (msg < WM_USER)
              return;
          const double at = NowSeconds();
          {
              std::lock_guard<std::mutex> lock(m_mutex);
              m_arrivals.push_back(at);
          }
          m_arrived.notify_all();
      })
{
}

double BenchWindow::TakeNext(DWORD timeoutMs)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_arrived.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return !m_arrivals.empty(); }))
        return -1;
    const double at = m_arrivals.front();
    m_arrivals.pop_front();
    return at;
}
double BenchWindow::MedianLatency(const std::function<void()>& cause, int n)
{
    std::vector<double> latencies;
    for (int i = 0; i < n; ++i)
    {
        const double before = NowSeconds();
        cause();
        const double at = TakeNext(10000);
        if (at < 0)
            return 1e9;
        latencies.push_back(at - before);
        while (TakeNext(0) >= 0)
            ;
    }
    std::sort(latencies.begin(), latencies.end());
    return latencies[latencies.size() / 2] * n;
}
}  // namespace weft::bench
