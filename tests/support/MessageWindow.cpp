#include "support/MessageWindow.h"
#include "support/TestSupport.h"

namespace weft::test
{
namespace
{
const char* const WindowClass = "WeftMessageWindow";
}

MessageWindow::MessageWindow(Handler handler)
    : m_handler(std::move(handler)), m_evQuit(CreateEventA(nullptr, TRUE, FALSE, nullptr))
{
    static const bool registered = [] {
        WNDCLASSEXA wc = {};
        wc.cbSize = sizeof wc;
        wc.lpfnWndProc = &MessageWindow::WindowProc;
        wc.hInstance = GetModuleHandleA(nullptr);
        wc.lpszClassName = WindowClass;
        return RegisterClassExA(&wc) != 0;
    }();
    HANDLE evReady = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (registered && m_evQuit != nullptr && evReady != nullptr)
        m_pump = std::thread([this, evReady] { Pump(evReady); }), WaitForSingleObject(evReady, MustHappenMs());
    if (evReady != nullptr)
        CloseHandle(evReady);
}

MessageWindow::~MessageWindow()
{
    if (m_pump.joinable())
        SetEvent(m_evQuit), m_pump.join();
    if (m_evQuit != nullptr)
        CloseHandle(m_evQuit);
}

void MessageWindow::Pump(HANDLE evReady)
{
    HWND wnd = CreateWindowExA(0, WindowClass, "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, GetModuleHandleA(nullptr),
                               this);
    m_hWnd = wnd;
    SetEvent(evReady);  // orders the store before the constructor returns
    if (wnd == nullptr)
        return;
    // MWMO_INPUTAVAILABLE: also wake for input that an earlier peek saw but left queued. A failed
    // wait leaves rather than spin.
    while (MsgWaitForMultipleObjectsEx(1, &m_evQuit, INFINITE, QS_ALLINPUT, MWMO_INPUTAVAILABLE) == WAIT_OBJECT_0 + 1)
    {
        MSG msg;
        while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageA(&msg);
    }
    DestroyWindow(wnd);
    // Sent messages still pending for the destroyed window are dropped with it.
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE))
        DispatchMessageA(&msg);
}

LRESULT CALLBACK MessageWindow::WindowProc(HWND wnd, UINT msg, WPARAM wParam, LPARAM lParam)
{
    if (msg == WM_NCCREATE)
        SetWindowLongPtrA(wnd, GWLP_USERDATA,
                          reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTA*>(lParam)->lpCreateParams));
    auto* self = reinterpret_cast<MessageWindow*>(GetWindowLongPtrA(wnd, GWLP_USERDATA));
    if (self != nullptr && (msg == WM_NULL || msg >= WM_USER))
    {
        if (self->m_handler)
            self->m_handler(msg, wParam, lParam);
        return 0;
    }
    return DefWindowProcA(wnd, msg, wParam, lParam);
}
}  // namespace weft::test
