#include "support/BenchWindow.h"

#include <chrono>

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
}  // namespace weft::bench
