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
std::string Option(const char* name, const char* fallback = "")
{
    for (int i = 1; i + 1 < __argc; ++i)
        if (std::string(__argv[i]) == name)
            return __argv[i + 1];
    return fallback;
}

bool Flag(const char* name)
{
    for (int i = 1; i < __argc; ++i)
        if (std::string(__argv[i]) == name)
            return true;
    return false;
}

HWND g_report = reinterpret_cast<HWND>(std::strtoull(Option("--report", "0").c_str(), nullptr, 10));

void Report(UINT what, WPARAM wParam, LPARAM lParam)
{
    ::PostMessageA(g_report, what, wParam, lParam);
}

LRESULT CALLBACK WindowProc(HWND wnd, UINT msg, WPARAM wParam, LPARAM lParam)
{
    static bool minimised = false;
    switch (msg)
    {
    case WM_ACTIVATE:
        if (LOWORD(wParam) != WA_INACTIVE)
            Report(ReportActivated, 0, reinterpret_cast<LPARAM>(wnd));
        break;
    case WM_COMMAND:
        Report(ReportCommand, wParam, lParam);
        return 0;
    case WM_SIZE:
        if (wParam == SIZE_MINIMIZED)
            minimised = true;
        else if (wParam == SIZE_RESTORED && minimised)
        {
            minimised = false;
            Report(ReportRestored, 0, reinterpret_cast<LPARAM>(wnd));
        }
        break;
    }
    return ::DefWindowProcA(wnd, msg, wParam, lParam);
}

HWND MakeWindow(const char* title, DWORD style, HWND owner)
{
    WNDCLASSA wc = {};
    wc.lpfnWndProc = WindowProc;
    wc.hInstance = ::GetModuleHandleA(nullptr);
    wc.lpszClassName = "WeftSingleAppChild";
    ::RegisterClassA(&wc);
    return ::CreateWindowExA(0, wc.lpszClassName, title, style, 10, 10, 240, 120, owner, nullptr, wc.hInstance,
                             nullptr);
}

class ChildApp : public SingleInstanceApp
{
public:
    ChildApp() : SingleInstanceApp(Flag("--path"))
    {
        if (Flag("--name"))
            m_pszAppName = ::_strdup(Option("--name").c_str());
    }

    BOOL InitInstance() override
    {
        m_bFirst = SingleInstanceApp::InitInstance() != 0;
        Report(ReportInit, m_bFirst, ::GetCurrentProcessId());
        if (!m_bFirst)
            return FALSE;
        SetSpecialCommandID(static_cast<unsigned>(std::atoi(Option("--command", "0").c_str())));
        const std::string mode = Option("--mode", "visible");
        if (mode == "detached")
            m_pMainWnd = new CWnd;
        if (mode != "none" && mode != "detached")
            Show(mode);
        Report(ReportReady, ::GetCurrentThreadId(), reinterpret_cast<LPARAM>(m_pMainWnd ? m_pMainWnd->m_hWnd : nullptr));
        return TRUE;
    }

    BOOL PreTranslateMessage(MSG* msg) override
    {
        if (msg->hwnd)
            return FALSE;
        if (msg->message == OrderMakeWindow)
        {
            Show("visible");
            Report(ReportReady, ::GetCurrentThreadId(), reinterpret_cast<LPARAM>(m_pMainWnd->m_hWnd));
        }
        else if (msg->message == OrderQuit)
            ::PostQuitMessage(FirstInstanceExit);
        return TRUE;
    }

    int ExitInstance() override
    {
        delete m_pMainWnd;
        m_pMainWnd = nullptr;
        return m_bFirst ? CWinApp::ExitInstance() : LaterInstanceExit;
    }

private:
    void Show(const std::string& mode)
    {
        HWND main = MakeWindow("weft single-instance test", WS_OVERLAPPEDWINDOW, nullptr);
        if (!m_pMainWnd)
            m_pMainWnd = new CWnd;
        m_pMainWnd->Attach(main);
        if (mode == "hidden")
            return;
        ::ShowWindow(main, mode == "minimised" ? SW_SHOWMINIMIZED : SW_SHOW);
        if (mode == "dialog")
        {
            // As a modal dialog leaves it: the owner disabled, the dialog its last active popup.
            ::EnableWindow(main, FALSE);
            ::ShowWindow(MakeWindow("dialog", WS_POPUP | WS_CAPTION, main), SW_SHOW);
        }
    }

    bool m_bFirst = false;
};

ChildApp theApp;
}  // namespace
