// Single instance: an application object on SingleInstanceApp. A later start of the program
// wakes the first, whose window comes to the front, restored if minimised, and ends at once.
// To show both sides, the first instance minimises its window and starts the program again;
// it ends when the second start has restored the window (or after 20 s).
#include <weftcore.h>

#include <cstdio>

namespace
{
LRESULT CALLBACK MainProc(HWND wnd, UINT msg, WPARAM wParam, LPARAM lParam)
{
    if ((msg == WM_SIZE && wParam == SIZE_RESTORED) || msg == WM_TIMER)
    {
        std::printf("%s\n", msg == WM_TIMER ? "no wake came" : "the later start restored this window");
        std::fflush(stdout);
        DestroyWindow(wnd);
        return 0;
    }
    if (msg == WM_DESTROY)
        PostQuitMessage(0);  // ends the framework's message loop
    return DefWindowProcA(wnd, msg, wParam, lParam);
}

class SnippetApp : public SingleInstanceApp
{
public:
    BOOL InitInstance() override
    {
        if (!SingleInstanceApp::InitInstance())
            return FALSE;  // another instance runs and has been woken: this one ends
        WNDCLASSA wc = {};
        wc.lpfnWndProc = MainProc;
        wc.hInstance = m_hInstance;
        wc.lpszClassName = "WeftSnippetMain";
        RegisterClassA(&wc);
        HWND wnd = CreateWindowExA(0, wc.lpszClassName, "weft snippet", WS_OVERLAPPEDWINDOW, 0, 0, 300, 100, nullptr,
                                   nullptr, m_hInstance, nullptr);
        if (wnd == nullptr)
            return FALSE;
        m_pMainWnd = new CWnd;  // the window that a later start activates
        m_pMainWnd->Attach(wnd);
        ShowWindow(wnd, SW_SHOWMINIMIZED);
        SetTimer(wnd, 1, 20000, nullptr);

        char exe[MAX_PATH + 1] = {};
        GetModuleFileNameA(nullptr, exe, MAX_PATH);
        STARTUPINFOA si = {};
        si.cb = sizeof si;
        PROCESS_INFORMATION pi = {};
        if (CreateProcessA(exe, nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi))
        {
            CloseHandle(pi.hThread);
            CloseHandle(pi.hProcess);
        }
        return TRUE;  // the framework runs the message loop
    }

    int ExitInstance() override
    {
        if (m_pMainWnd != nullptr)
            m_pMainWnd->Detach();  // its window is gone already
        delete m_pMainWnd;
        m_pMainWnd = nullptr;
        return SingleInstanceApp::ExitInstance();
    }
};

SnippetApp theApp;  // the framework's WinMain runs it
}  // namespace
