// A message-only window on the tour's own thread, which pumps it while it waits. Messages sent
// by the watcher threads with SendNotifyMessageA are handled inside PeekMessage; each one from
// WM_APP upwards goes to the handler, with the milliseconds since the window was made; registered
// messages (0xC000 upwards) too when the window is made for them.
#pragma once

#include <windows.h>

#include <functional>

namespace weft::tour
{
class TourWindow
{
public:
    using Handler = std::function<void(unsigned long long atMs, UINT msg, WPARAM wParam, LPARAM lParam)>;

    explicit TourWindow(Handler handler, bool registered = false)
        : m_handler(std::move(handler)), m_bRegistered(registered)
    {
        WNDCLASSEXA wc = {};
        wc.cbSize = sizeof wc;
        wc.lpfnWndProc = &TourWindow::WindowProc;
        wc.hInstance = GetModuleHandleA(nullptr);
        wc.lpszClassName = "WeftTourWindow";
        RegisterClassExA(&wc);  // fails harmlessly when a step registered it already
        m_hWnd = CreateWindowExA(0, wc.lpszClassName, "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, wc.hInstance, nullptr);
        SetWindowLongPtrA(m_hWnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
        m_nStart = GetTickCount64();
    }
    ~TourWindow() { DestroyWindow(m_hWnd); }
    TourWindow(const TourWindow&) = delete;
    TourWindow& operator=(const TourWindow&) = delete;

    HWND Handle() const { return m_hWnd; }
    int Count() const { return m_nCount; }
    unsigned long long Elapsed() const { return GetTickCount64() - m_nStart; }

    // Pumps until count messages have come in all, or for at most ms milliseconds.
    void PumpUntil(int count, DWORD ms)
    {
        PumpWhile([&] { return m_nCount < count; }, ms);
    }
    void PumpFor(DWORD ms) { PumpUntil(0x7FFFFFFF, ms); }

    // Pumps while more() holds, for at most ms milliseconds; more() is asked after each batch.
    template <class More>
    void PumpWhile(More more, DWORD ms)
    {
        const unsigned long long end = GetTickCount64() + ms;
        while (more() && GetTickCount64() < end)
        {
            MsgWaitForMultipleObjectsEx(0, nullptr, static_cast<DWORD>(end - GetTickCount64()), QS_ALLINPUT,
                                        MWMO_INPUTAVAILABLE);
            MSG msg;
            while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE))
                DispatchMessageA(&msg);
        }
    }

private:
    static LRESULT CALLBACK WindowProc(HWND wnd, UINT msg, WPARAM wParam, LPARAM lParam)
    {
        auto* self = reinterpret_cast<TourWindow*>(GetWindowLongPtrA(wnd, GWLP_USERDATA));
        if (self != nullptr && msg >= WM_APP && (msg <= 0xBFFF || self->m_bRegistered))
        {
            ++self->m_nCount;
            self->m_handler(self->Elapsed(), msg, wParam, lParam);
            return 0;
        }
        return DefWindowProcA(wnd, msg, wParam, lParam);
    }

    Handler m_handler;
    bool m_bRegistered;
    HWND m_hWnd;
    int m_nCount = 0;
    unsigned long long m_nStart;
};
}  // namespace weft::tour
