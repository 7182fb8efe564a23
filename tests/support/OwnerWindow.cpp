#include "support/OwnerWindow.h"

#include <chrono>

namespace weft::test
{
namespace
{
const char* const WindowClass = "WeftTestOwnerWindow";

bool RegisterOnce()
{
    static const bool registered = [] {
        WNDCLASSEXA wc = {};
        wc.cbSize = sizeof wc;
        wc.lpfnWndProc = DefWindowProcA;  // replaced per window once the object is known
        wc.hInstance = GetModuleHandleA(nullptr);
        wc.lpszClassName = WindowClass;
        return RegisterClassExA(&wc) != 0;
    }();
    return registered;
}

// Below WM_USER, so never recorded: the marker of Flush.
const UINT FlushMsg = WM_USER - 1;

bool IsRecorded(UINT msg)
{
    return msg == WM_NULL || msg >= WM_USER;
}
}  // namespace

OwnerWindow::OwnerWindow(Handler handler) : m_handler(std::move(handler))
{
    m_evQuit = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (m_evQuit == nullptr || !RegisterOnce())
        return;
    m_pump = std::thread([this] { Pump(); });
    std::unique_lock<std::mutex> lock(m_mutex);
    m_arrived.wait(lock, [this] { return m_bReady; });
}

OwnerWindow::~OwnerWindow()
{
    if (m_pump.joinable())
    {
        SetEvent(m_evQuit);
        m_pump.join();
    }
    if (m_evQuit != nullptr)
        CloseHandle(m_evQuit);
}

double OwnerWindow::NowMs()
{
    using Clock = std::chrono::steady_clock;
    return std::chrono::duration<double, std::milli>(Clock::now().time_since_epoch()).count();
}

void OwnerWindow::Pump()
{
    HWND wnd = CreateWindowExA(0, WindowClass, "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, GetModuleHandleA(nullptr),
                               nullptr);
    if (wnd != nullptr)
    {
        SetWindowLongPtrA(wnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
        SetWindowLongPtrA(wnd, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&OwnerWindow::WindowProc));
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_hWnd = wnd;
        m_threadId = GetCurrentThreadId();
        m_bReady = true;
    }
    m_arrived.notify_all();
    if (wnd == nullptr)
        return;

    for (;;)
    {
        // MWMO_INPUTAVAILABLE: also wake for input that an earlier peek saw but left queued.
        DWORD woke = MsgWaitForMultipleObjectsEx(1, &m_evQuit, INFINITE, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
        if (woke != WAIT_OBJECT_0 + 1)
            break;  // quit, or a failed wait: leave rather than spin
        MSG msg;
        while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE))
        {
            TranslateMessage(&msg);
            DispatchMessageA(&msg);
        }
    }
    DestroyWindow(wnd);
    // Sent messages still pending for the destroyed window are dropped with it.
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE))
        DispatchMessageA(&msg);
}

LRESULT CALLBACK OwnerWindow::WindowProc(HWND wnd, UINT msg, WPARAM wParam, LPARAM lParam)
{
    auto* self = reinterpret_cast<OwnerWindow*>(GetWindowLongPtrA(wnd, GWLP_USERDATA));
    if (self != nullptr && IsRecorded(msg))
    {
        self->Record(msg, wParam, lParam);
        return 0;
    }
    return DefWindowProcA(wnd, msg, wParam, lParam);
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
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_arrived.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                              [&] { return m_messages.size() >= count; });
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
    std::unique_lock<std::mutex> lock(m_mutex);
    return !m_arrived.wait_for(lock, std::chrono::milliseconds(windowMs), [&] { return m_messages.size() > count; });
}

bool OwnerWindow::NothingWithin(DWORD windowMs) const
{
    return StaysAt(Count(), windowMs);
}

bool OwnerWindow::Flush(DWORD timeoutMs) const
{
    if (m_hWnd == nullptr)
        return false;
    DWORD_PTR result = 0;
    return SendMessageTimeoutA(m_hWnd, FlushMsg, 0, 0, SMTO_NORMAL, timeoutMs, &result) != 0;
}
}  // namespace weft::test
