// The application that the single-instance tests start, in copies, as separate processes.
//   weft_single_app.exe --report HWND [--mode visible|hidden|minimised|dialog|none|detached]
//                       [--command ID] [--path] [--name NAME]
// The mode says what main window the first instance has; none and detached (a window object
// without a window) get a visible one on OrderMakeWindow.
#include "app/SingleAppReports.h"

#include <weftcore.h>

#include <cstdlib>
#include <string>

using namespace weft::test;

namespace
{
const char* Option(const char* name, const char* fallback = nullptr)
{
    for (int i = 1; i < __argc; ++i)
        if (std::string(__argv[i]) == name)
            return i + 1 < __argc ? __argv[i + 1] : "";
    return fallback;
}

void Report(UINT what, WPARAM wParam, LPARAM lParam)
{
    ::PostMessageA(reinterpret_cast<HWND>(std::strtoull(Option("--report", "0"), nullptr, 10)), what, wParam, lParam);
}

LRESULT CALLBACK WindowProc(HWND wnd, UINT msg, WPARAM wParam, LPARAM lParam)
{
    static bool minimised = false;
    if (msg == WM_COMMAND)
        Report(ReportCommand, wParam, lParam);
    else if (msg == WM_SIZE && wParam == SIZE_RESTORED && minimised)
        Report(ReportRestored, 0, reinterpret_cast<LPARAM>(wnd));
    if (msg == WM_SIZE)
        minimised = wParam == SIZE_MINIMIZED;
    return ::DefWindowProcA(wnd, msg, wParam, lParam);
}

HWND MakeWindow(DWORD style, HWND owner)
{
    WNDCLASSA wc = {};
    wc.lpfnWndProc = WindowProc;
    wc.lpszClassName = "WeftSingleAppChild";
    ::RegisterClassA(&wc);
    return ::CreateWindowExA(0, wc.lpszClassName, "", style, 10, 10, 240, 120, owner, nullptr, nullptr, nullptr);
}

class ChildApp : public SingleInstanceApp
{
public:
    ChildApp() : SingleInstanceApp(Option("--path") != nullptr)
    {
        if (const char* name = Option("--name"))
            m_pszAppName = ::_strdup(name);
    }

    BOOL InitInstance() override
    {
        m_bFirst = SingleInstanceApp::InitInstance() != 0;
        if (m_bFirst)
        {
            SetSpecialCommandID(static_cast<unsigned>(std::atoi(Option("--command", "0"))));
            const std::string mode = Option("--mode", "visible");
            if (mode == "detached")
                m_pMainWnd = new CWnd;
            else if (mode != "none")
                Show(mode);
        }
        Started();
        return m_bFirst;
    }

    BOOL PreTranslateMessage(MSG* msg) override
    {
        if (msg->hwnd)
            return FALSE;
        if (msg->message == OrderMakeWindow)
        {
            Show("visible");
            Started();
        }
        else if (msg->message == OrderQuit)
            ::PostQuitMessage(FirstInstanceExit);
        return TRUE;
    }

    int ExitInstance() override
    {
        delete m_pMainWnd;
        return m_bFirst ? CWinApp::ExitInstance() : LaterInstanceExit;
    }

private:
    void Started()
    {
        Report(ReportStarted, m_bFirst ? ::GetCurrentThreadId() : 0,
               reinterpret_cast<LPARAM>(m_pMainWnd ? m_pMainWnd->m_hWnd : nullptr));
    }

    void Show(const std::string& mode)
    {
        HWND main = MakeWindow(WS_OVERLAPPEDWINDOW, nullptr);
        if (!m_pMainWnd)
            m_pMainWnd = new CWnd;
        m_pMainWnd->Attach(main);
        if (mode != "hidden")
            ::ShowWindow(main, mode == "minimised" ? SW_SHOWMINIMIZED : SW_SHOW);
        if (mode == "dialog")
        {
            // As a modal dialog leaves it: the owner disabled, the dialog its last active popup.
            ::EnableWindow(main, FALSE);
            ::ShowWindow(MakeWindow(WS_POPUP | WS_CAPTION, main), SW_SHOW);
        }
    }

    bool m_bFirst = false;
};

ChildApp theApp;
}  // namespace
