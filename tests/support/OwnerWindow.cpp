#include "support/OwnerWindow.h"

namespace weft::test
{
OwnerWindow::OwnerWindow(Handler handler)
    : m_handler(std::move(handler)),
      m_window([this](UINT msg, WPARAM wParam, LPARAM lParam) { Record(msg, wParam, lParam); })
{
}

void OwnerWindow::Record(UINT msg, WPARAM wParam, LPARAM lParam)
{
    Message m{msg, wParam, lParam, NowMs(), {}};
    if (m_handler)
        m_handler(m);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_messages.push_back(m);
    m_arrived.notify_all();
}

std::vector<OwnerWindow::Message> OwnerWindow::Messages() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_messages;
}

std::optional<OwnerWindow::Message> OwnerWindow::Next(DWORD timeoutMs)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_arrived.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return m_messages.size() > m_nNext; }))
        return std::nullopt;
    return m_messages[m_nNext++];
}
}  // namespace weft::test
