// weft_single_app.exe --report HWND [--mode visible|hidden|minimised|dialog|none|detached] [--command ID] [--path]
// (the first's main window; none and detached, an object without a window, get a visible one on OrderMakeWindow)
#include "app/SingleAppReports.h"
#include "support/ThreadProbe.h"

#include <weftcore.h>

#include <algorithm>
#include <cstdlib>
#include <optional>

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

HWND MakeWindow(DWORD style, HWND owner)
{
    return ::CreateWindowExA(0, "STATIC", "", style, 9, 9, 240, 120, owner, nullptr, nullptr, nullptr);
}

// Reports how many threads of InitInstance outlive the application object, destroyed before this one, and whether
// the instance's name (when named after the application) is still taken.
struct EndReport
{
    std::optional<ThreadProbe> probe;  // taken before InitInstance
    std::set<DWORD> started;
    std::string name;
    ~EndReport()
    {
        const auto running = [now = probe ? probe->NewThreads() : started](DWORD id) { return now.contains(id); };
        const HANDLE event = name.empty() ? nullptr : ::CreateEventA(nullptr, FALSE, FALSE, name.c_str());
        const bool taken = event && ::GetLastError() == ERROR_ALREADY_EXISTS;
        if (!started.empty())
            Report(ReportEnded, std::ranges::count_if(started, running), taken);
        ::CloseHandle(event);
    }
} ends;

class ChildApp : public SingleInstanceApp
{
public:
    ChildApp() : SingleInstanceApp(Option("--path") != nullptr) {}

    BOOL InitInstance() override
    {
        ends.probe.emplace();
        m_bFirst = SingleInstanceApp::InitInstance() != 0;
        ends.started = ends.probe->NewThreads();
        ends.name = Option("--path") ? "" : m_pszAppName;
        if (Option("--command"))
            SetSpecialCommandID(static_cast<unsigned>(std::atoi(Option("--command"))));
        Show(m_bFirst ? Option("--mode", "visible") : "none");
        return m_bFirst;
    }

    // A command posted to the main window is reported; the test's orders come as thread messages.
    BOOL PreTranslateMessage(MSG* msg) override
    {
        if (msg->message == WM_COMMAND)
            Report(ReportCommand, msg->wParam, msg->lParam);
        if (msg->hwnd)
            return FALSE;
        if (msg->message == OrderMakeWindow)
            Show("visible");
        else if (msg->message == OrderQuit)
            ::PostQuitMessage(FirstInstanceExit);
        return TRUE;
    }

private:
    // Gives the main window (object) that the mode asks for, then reports the start.
    void Show(const std::string& mode)
    {
        if (mode != "none" && !m_pMainWnd)
            m_pMainWnd = new CWnd;
        if (mode != "none" && mode != "detached")
        {
            HWND main = MakeWindow(WS_OVERLAPPEDWINDOW, nullptr);
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
        const HWND window = m_pMainWnd ? m_pMainWnd->m_hWnd : nullptr;
        Report(ReportStarted, m_bFirst ? ::GetCurrentThreadId() : 0, reinterpret_cast<LPARAM>(window));
    }

    bool m_bFirst = false;
};

ChildApp theApp;
}  // namespace
