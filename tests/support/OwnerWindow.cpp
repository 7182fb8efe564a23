#include "support/OwnerWindow.h"

#include <chrono>

namespace weft::test
{
OwnerWindow::OwnerWindow(Handler handler)
    : m_handler(std::move(handler)), m_window([this](UINT msg, WPARAM wParam, LPARAM lParam) {
          Record(msg, wParam, lParam);
      })
{
}

double OwnerWindow::NowMs()
{
    using Clock = std::chrono::steady_clock;
    return std::chrono::duration<double, std::milli>(Clock::now().time_since_epoch()).count();
}

void OwnerWindow::Record(UINT msg, WPARAM wParam, LPARAM lParam)
{
    Message m{msg, wParam, lParam, NowMs()};
    if (m_handler)
        m_handler(m);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_messages.push_back(m);
    }
    m_arrived.notify_all();
}

std::size_t OwnerWindow::Count() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_messages.size();
}

std::vector<OwnerWindow::Message> OwnerWindow::Messages() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_messages;
}

bool OwnerWindow::WaitForCount(std::size_t count, DWORD timeoutMs) const
{
    return WaitUntil(timeoutMs, [&] { return m_messages.size() >= count; });
}

std::optional<OwnerWindow::Message> OwnerWindow::Next(DWORD timeoutMs)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_arrived.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return m_messages.size() > m_nNext; }))
        return std::nullopt;
    return m_messages[m_nNext++];
}

bool OwnerWindow::StaysAt(std::size_t count, DWORD windowMs) const
{
    return !WaitUntil(windowMs, [&] { return m_messages.size() > count; });
}

bool OwnerWindow::NothingWithin(DWORD windowMs) const
{
    return StaysAt(Count(), windowMs);
}

bool OwnerWindow::Flush(DWORD timeoutMs) const
{
    DWORD_PTR result = 0;
    // WM_USER - 1 is handled by the window but not recorded.
    return Handle() != nullptr &&
           SendMessageTimeoutA(Handle(), WM_USER - 1, 0, 0, SMTO_NORMAL, timeoutMs, &result) != 0;
}

::testing::AssertionResult NotBefore(double atMs, double fromMs, double ms)
{
    if (atMs - fromMs >= ms * 0.9)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "came " << atMs - fromMs << " ms after the reference, expected >= "
                                         << ms * 0.9;
}
}  // namespace weft::test
