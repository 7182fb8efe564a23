// A message-only window pumped on a thread of its own, that hands each message numbered 0 or from
// WM_USER up to a handler there. SendNotifyMessageA's messages from other threads are dispatched inside
// PeekMessage, never returned by it, so the window procedure is where they are seen. The destructor
// destroys the window on its thread and joins it. No GoogleTest: the benchmarks use it too.
#pragma once

#include <windows.h>

#include <functional>
#include <thread>

namespace weft::test
{
class MessageWindow
{
public:
    using Handler = std::function<void(UINT msg, WPARAM wParam, LPARAM lParam)>;

    explicit MessageWindow(Handler handler);  // Returns once the window exists, or could not be created.
    ~MessageWindow();
    MessageWindow(const MessageWindow&) = delete;
    MessageWindow& operator=(const MessageWindow&) = delete;

    // The window; null if it could not be created (then nothing ever arrives).
    HWND Handle() const { return m_hWnd; }

private:
    static LRESULT CALLBACK WindowProc(HWND wnd, UINT msg, WPARAM wParam, LPARAM lParam);
    void Pump(HANDLE evReady);

    Handler m_handler;
    HANDLE m_evQuit;
    HWND m_hWnd = nullptr;
    std::thread m_pump;
};
}  // namespace weft::test
