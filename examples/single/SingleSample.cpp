// A single-instance application: start it twice, and the second start brings the first
// instance's window to the front (restoring it if minimised) and ends.
//   weft_single_sample.exe [--ready EVENT] [--since COUNT]
// With --ready, the first instance sets the named event once its window is up, and again each
// time its window is restored from minimised. What the first instance sees is written to
// standard output; with --since, each line gives the seconds since that performance-counter
// value, so that it fits the timeline of the program that started this one.
#include <weftcore.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{
const char* const WindowClass = "WeftSingleSample";
HANDLE g_ready = nullptr;    // the --ready event, if any
long long g_since = -1;      // the --since count, if any

void Say(const char* text)
{
    // A windows program has no console of its own; it writes to the output it was given.
    HANDLE out = ::GetStdHandle(STD_OUTPUT_HANDLE);
    char stamp[32] = "";
    if (g_since >= 0)
    {
        LARGE_INTEGER now, frequency;
        ::QueryPerformanceCounter(&now);
        ::QueryPerformanceFrequency(&frequency);
        char seconds[24];
        const double elapsed = static_cast<double>(now.QuadPart - g_since) / frequency.QuadPart;
        std::snprintf(seconds, sizeof seconds, "+%.3f", elapsed);
        std::snprintf(stamp, sizeof stamp, "  %7s s", seconds);
    }
    char line[256];
    const int n = std::snprintf(line, sizeof line, "%s  [first instance] %s\n", stamp, text);
    DWORD written = 0;
    if (out && out != INVALID_HANDLE_VALUE && n > 0)
        ::WriteFile(out, line, static_cast<DWORD>(n), &written, nullptr);
}

LRESULT CALLBACK WindowProc(HWND wnd, UINT msg, WPARAM wParam, LPARAM lParam)
{
    static bool minimised = false;
    switch (msg)
    {
    case WM_PAINT:
    {
        PAINTSTRUCT ps;
        HDC dc = ::BeginPaint(wnd, &ps);
        RECT area;
        ::GetClientRect(wnd, &area);
        const char text[] = "This is the first instance.\nStart the program again: this window comes to the front.";
        ::DrawTextA(dc, text, -1, &area, DT_CENTER | DT_WORDBREAK);
        ::EndPaint(wnd, &ps);
        return 0;
    }
    case WM_ACTIVATE:
        if (LOWORD(wParam) != WA_INACTIVE)
            Say("window brought to the front");
        break;
    case WM_SIZE:
        if (wParam == SIZE_MINIMIZED && !minimised)
            Say("window minimised");
        else if (wParam == SIZE_RESTORED && minimised)
        {
            Say("window restored from minimised");
            if (g_ready)
                ::SetEvent(g_ready);
        }
        minimised = wParam == SIZE_MINIMIZED;
        break;
    case WM_DESTROY:
        ::PostQuitMessage(0);
        return 0;
    }
    return ::DefWindowProcA(wnd, msg, wParam, lParam);
}

class SampleApp : public SingleInstanceApp
{
public:
    BOOL InitInstance() override
    {
        if (const char* since = std::strstr(m_lpCmdLine, "--since "))
            g_since = std::strtoll(since + 8, nullptr, 10);
        if (const char* ready = std::strstr(m_lpCmdLine, "--ready "))
        {
            char name[MAX_PATH] = {};
            std::sscanf(ready + 8, "%259s", name);
            g_ready = ::OpenEventA(EVENT_MODIFY_STATE, FALSE, name);
        }
        if (!SingleInstanceApp::InitInstance())
            return FALSE;  // the running instance has been woken
        WNDCLASSA wc = {};
        wc.lpfnWndProc = WindowProc;
        wc.hInstance = m_hInstance;
        wc.hCursor = ::LoadCursor(nullptr, IDC_ARROW);
        wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
        wc.lpszClassName = WindowClass;
        ::RegisterClassA(&wc);
        HWND wnd = ::CreateWindowExA(0, WindowClass, "weftcore single-instance sample", WS_OVERLAPPEDWINDOW,
                                     CW_USEDEFAULT, CW_USEDEFAULT, 420, 140, nullptr, nullptr, m_hInstance, nullptr);
        if (!wnd)
            return FALSE;
        m_pMainWnd = new CWnd;
        m_pMainWnd->Attach(wnd);
        ::ShowWindow(wnd, m_nCmdShow);
        ::UpdateWindow(wnd);
        Say("started; window shown");
        if (g_ready)
            ::SetEvent(g_ready);
        return TRUE;
    }

    int ExitInstance() override
    {
        if (m_pMainWnd)
        {
            Say("closing");
            m_pMainWnd->Detach();  // already destroyed by its close
            delete m_pMainWnd;
            m_pMainWnd = nullptr;
        }
        if (g_ready)
            ::CloseHandle(g_ready);
        return SingleInstanceApp::ExitInstance();
    }
};

SampleApp theApp;
}  // namespace
