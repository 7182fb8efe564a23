// The owner window of the snippets: a message-only window on the calling thread. Messages from
// WM_APP up (and registered ones, 0xC000 up) go to the handler; Pump runs the thread's message
// loop until the handler has said "done" or the time is up. Watchers notify with
// SendNotifyMessageA, which is dispatched inside PeekMessage, so the loop waits with
// MsgWaitForMultipleObjects rather than GetMessage.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

class SnippetWindow
{
public:
    // The handler gives true when the snippet has seen what it waited for.
    using Handler = std::function<bool(UINT msg, WPARAM wParam, LPARAM lParam)>;

    explicit SnippetWindow(Handler handler) : m_handler(std::move(handler))
    {
        WNDCLASSA wc = {};
        wc.lpfnWndProc = &SnippetWindow::Proc;
        wc.hInstance = GetModuleHandleA(nullptr);
        wc.lpszClassName = "WeftSnippetWindow";
        RegisterClassA(&wc);
        m_hWnd = CreateWindowExA(0, wc.lpszClassName, "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, wc.hInstance, nullptr);
        SetWindowLongPtrA(m_hWnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    }
    ~SnippetWindow() { DestroyWindow(m_hWnd); }
    SnippetWindow(const SnippetWindow&) = delete;
    SnippetWindow& operator=(const SnippetWindow&) = delete;

    HWND Handle() const { return m_hWnd; }

    // Pumps until the handler says done or ms have passed; true if it said done.
    bool Pump(DWORD ms)
    {
        const ULONGLONG end = GetTickCount64() + ms;
        for (ULONGLONG now = GetTickCount64(); !m_bDone && now < end; now = GetTickCount64())
        {
            MsgWaitForMultipleObjectsEx(0, nullptr, static_cast<DWORD>(end - now), QS_ALLINPUT, MWMO_INPUTAVAILABLE);
            MSG msg;
            while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE))
                DispatchMessageA(&msg);
        }
        const bool done = m_bDone;
        m_bDone = false;
        return done;
    }

private:
    static LRESULT CALLBACK Proc(HWND wnd, UINT msg, WPARAM wParam, LPARAM lParam)
    {
        auto* self = reinterpret_cast<SnippetWindow*>(GetWindowLongPtrA(wnd, GWLP_USERDATA));
        if (self == nullptr || msg < WM_APP)
            return DefWindowProcA(wnd, msg, wParam, lParam);
        if (self->m_handler(msg, wParam, lParam))
            self->m_bDone = true;
        return 0;
    }

    Handler m_handler;
    HWND m_hWnd;
    bool m_bDone = false;
};

// A new folder below the temporary folder, with its trailing backslash; the snippet removes it.
inline std::string SnippetTempDir(const char* name)
{
    char temp[MAX_PATH + 1] = {};
    GetTempPathA(MAX_PATH, temp);
    const std::string dir = std::string(temp) + name + "_" + std::to_string(GetCurrentProcessId()) + "\\";
    CreateDirectoryA(dir.c_str(), nullptr);
    return dir;
}

// Writes the text as the whole file.
inline void SnippetWriteFile(const std::string& path, const std::string& text)
{
    HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    CloseHandle(file);
}
