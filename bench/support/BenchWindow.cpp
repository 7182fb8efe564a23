#include "support/BenchWindow.h"

#include <chrono>

namespace weft::bench
{
namespace
{
const char* const WindowClass = "WeftBenchWindow";
}

BenchWindow::BenchWindow() : m_evQuit(CreateEventA(nullptr, TRUE, FALSE, nullptr))
{
    static const bool registered = [] {
        WNDCLASSEXA wc = {};
        wc.cbSize = sizeof wc;
        wc.lpfnWndProc = &BenchWindow::WindowProc;
        wc.hInstance = GetModuleHandleA(nullptr);
        wc.lpszClassName = WindowClass;
        return RegisterClassExA(&wc) != 0;
    }();
    if (!registered || m_evQuit == nullptr)
        return;
    m_pump = std::thread([this] { Pump(); });
    std::unique_lock<std::mutex> lock(m_mutex);
    m_arrived.wait(lock, [this] { return m_bReady; });
}

BenchWindow::~BenchWindow()
{
    if (m_pump.joinable())
    {
        SetEvent(m_evQuit);
        m_pump.join();
    }
    if (m_evQuit != nullptr)
        CloseHandle(m_evQuit);
}

void BenchWindow::Pump()
{
    HWND wnd = CreateWindowExA(0, WindowClass, "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, GetModuleHandleA(nullptr),
                               this);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_hWnd = wnd;
        m_bReady = true;
    }
    m_arrived.notify_all();
    if (wnd == nullptr)
        return;
    // Notifications from other threads are dispatched inside PeekMessage, never returned by it.
    while (MsgWaitForMultipleObjectsEx(1, &m_evQuit, INFINITE, QS_ALLINPUT, MWMO_INPUTAVAILABLE) == WAIT_OBJECT_0 + 1)
    {
        MSG msg;
        while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageA(&msg);
    }
    DestroyWindow(wnd);
}

LRESULT CALLBACK BenchWindow::WindowProc(HWND wnd, UINT msg, WPARAM wParam, LPARAM lParam)
{
    if (msg == WM_NCCREATE)
    {
        auto* create = reinterpret_cast<CREATESTRUCTA*>(lParam);
        SetWindowLongPtrA(wnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
    }
    auto* self = reinterpret_cast<BenchWindow*>(GetWindowLongPtrA(wnd, GWLP_USERDATA));
    if (self != nullptr && msg >= WM_USER)
    {
        const double at = NowSeconds();
        {
            std::lock_guard<std::mutex> lock(self->m_mutex);
            self->m_arrivals.push_back(at);
        }
        self->m_arrived.notify_all();
        return 0;
    }
    return DefWindowProcA(wnd, msg, wParam, lParam);
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
