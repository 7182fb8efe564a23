// Single-instance applications as real processes: copies of weft_single_app.exe under names of
// their own, reporting to an owner window what their instance saw.
#include "app/SingleAppReports.h"
#include "support/OwnerWindow.h"
#include "weftbase/WeftBaseTestFiles.h"

#include <algorithm>
#include <memory>

using namespace weft::test;

namespace
{
constexpr UINT TakeForeground = WM_APP + 99;

class SingleInstanceAppTest : public ::testing::Test
{
protected:
    struct First
    {
        ChildProcess* process;
        DWORD thread;
        HWND window;
    };

    // A copy of the application, as dir\<unique name>.exe, or with the name given.
    std::string Copy(const std::string& dir, std::string name = "")
    {
        CreateDirectoryA((m_dir / dir).c_str(), nullptr);
        const std::string exe = m_dir / (dir + "\\" + (name.empty() ? UniqueName("app") : name) + ".exe");
        EXPECT_TRUE(CopyFileA((ExeDir() + "weft_single_app.exe").c_str(), exe.c_str(), FALSE));
        return exe;
    }

    // Starts an instance and waits for its start report (passing over others).
    First Start(const std::string& exe, std::vector<std::string> args = {})
    {
        args.insert(args.begin(), {"--report", std::to_string(reinterpret_cast<UINT_PTR>(m_owner.Handle()))});
        m_started.push_back(std::make_unique<ChildProcess>(exe, args));
        auto started = Await(ReportStarted);
        m_mark = m_owner.Count();
        return {m_started.back().get(), started ? static_cast<DWORD>(started->wParam) : 0,
                started ? reinterpret_cast<HWND>(started->lParam) : nullptr};
    }

    First StartFirst(const std::string& exe, std::vector<std::string> args = {})
    {
        const First first = Start(exe, args);
        EXPECT_NE(0u, first.thread) << exe << " did not start as the first instance";
        return first;
    }

    // Brings a window of the test to the front (so that a later activation of the application is
    // its monitor's doing), then starts a later instance and waits for it to give up.
    void StartLater(const std::string& exe, std::vector<std::string> args = {})
    {
        PostMessageA(m_owner.Handle(), TakeForeground, 0, 0);
        Await(TakeForeground);
        EXPECT_TRUE(InFront([&](HWND w) { return w == m_decoy; }));
        const First later = Start(exe, args);
        EXPECT_EQ(0u, later.thread);
        EXPECT_EQ(LaterInstanceExit, later.process->WaitExit(MustHappenMs())) << exe;
    }

    void Quit(const First& first)
    {
        EXPECT_TRUE(PostThreadMessageA(first.thread, OrderQuit, 0, 0));
        EXPECT_EQ(FirstInstanceExit, first.process->WaitExit(MustHappenMs()));
    }

    // The next report of the kind, passing over others; nothing if it did not come in time.
    std::optional<OwnerWindow::Message> Await(UINT kind)
    {
        while (auto m = m_owner.Next())
            if (m->msg == kind)
                return m;
        ADD_FAILURE() << "no report " << kind - WM_APP;
        return std::nullopt;
    }

    // True once the foreground window passes the test, within the must-happen time.
    template <class Test>
    static bool InFront(Test test)
    {
        return WaitUntil([&] { return test(GetForegroundWindow()); }, MustHappenMs());
    }

    // True if a report of the kind comes after the last start, within the must-not window.
    bool Comes(UINT kind) const
    {
        return WaitUntil([&] {
            const auto all = m_owner.Messages();
            return std::any_of(all.begin() + static_cast<std::ptrdiff_t>(m_mark), all.end(), [&](auto& m) { return m.msg == kind; });
        }, MustNotHappenMs());
    }

    static ::testing::AssertionResult EventExists(const std::string& name)
    {
        HANDLE event = OpenEventA(SYNCHRONIZE, FALSE, name.c_str());
        if (!event)
            return ::testing::AssertionFailure() << "no event " << name;
        CloseHandle(event);
        return ::testing::AssertionSuccess();
    }

    TempDir m_dir{"single"};
    size_t m_mark = 0;
    HWND m_decoy = nullptr;
    OwnerWindow m_owner{[this](const OwnerWindow::Message& m) {
        if (m.msg == TakeForeground && (m_decoy || (m_decoy = CreateWindowExA(0, "STATIC", "", WS_POPUP | WS_VISIBLE, 0,
                                                                              0, 9, 9, nullptr, nullptr, nullptr, nullptr))))
            SetForegroundWindow(m_decoy);
    }};
    std::vector<std::unique_ptr<ChildProcess>> m_started;
};

// A later start ends with InitInstance 0 and wakes the first, whose monitor brings forward the
// last active popup of the main window, restores it if minimised, or else, if it is hidden,
// sends it the special command.
TEST_F(SingleInstanceAppTest, ALaterStartEndsAndTheFirstActivatesAsItsWindowAsks)
{
    enum Target { None, Main, Popup };
    const struct
    {
        const char* mode;
        unsigned command;
        Target activated;
        bool commandSent, restored;
    } cases[] = {
        {"visible", 7, Main, false, false},   {"hidden", 7, None, true, false},   {"hidden", 0, None, false, false},
        {"minimised", 7, Main, false, true},  {"dialog", 7, Popup, false, false},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(std::string(c.mode) + " " + std::to_string(c.command));
        const std::string exe = Copy(c.mode + std::to_string(c.command));
        const First first = StartFirst(exe, {"--mode", c.mode, "--command", std::to_string(c.command)});
        ASSERT_NE(nullptr, first.window);
        StartLater(exe);
        if (c.commandSent)
        {
            auto command = Await(ReportCommand);
            EXPECT_TRUE(command && command->wParam == c.command && command->lParam == 0);
        }
        if (c.activated != None)
        {
            EXPECT_TRUE(InFront([&](HWND w) {
                return c.activated == Main ? w == first.window : w != first.window && GetWindow(w, GW_OWNER) == first.window;
            })) << "in front: " << GetForegroundWindow() << ", main window " << first.window;
        }
        if (c.restored)
        {
            EXPECT_TRUE(Await(ReportRestored) && !IsIconic(first.window));
        }
        if (!c.commandSent)
        {
            EXPECT_FALSE(Comes(ReportCommand));
        }
        Quit(first);
    }
}

// A wake with no main window, or with a window object that has no window, activates nothing,
// and the monitor waits on: the next start activates the window made meanwhile.
TEST_F(SingleInstanceAppTest, TheMonitorWaitsOnAfterAWakeItCannotServe)
{
    for (const char* mode : {"none", "detached"})
    {
        SCOPED_TRACE(mode);
        const std::string exe = Copy(mode);
        First first = StartFirst(exe, {"--mode", mode});
        StartLater(exe);
        ASSERT_TRUE(PostThreadMessageA(first.thread, OrderMakeWindow, 0, 0));
        auto made = Await(ReportStarted);
        ASSERT_TRUE(made && made->lParam != 0);
        StartLater(exe);
        EXPECT_TRUE(InFront([&](HWND w) { return w == reinterpret_cast<HWND>(made->lParam); }));
        Quit(first);
    }
}

// The instance event is named after the application (here the program's file name), or after
// the program's path with ':', blanks and backslashes made '_' and ".exe" removed, case kept.
// Once the first instance has ended, the next start is a first one again.
TEST_F(SingleInstanceAppTest, InstancesAreNamedAfterTheApplicationOrItsPath)
{
    const std::string name = UniqueName("app");
    const std::string a = Copy("a b", name), b = Copy("c", name);

    // One name: the copies exclude each other, until the first ends.
    const First first = StartFirst(a);
    EXPECT_TRUE(EventExists(name));
    StartLater(b);
    Quit(first);
    const First byName = StartFirst(b);

    // Path names: both copies run beside it, and so does a's path in capitals.
    std::string upper = a, expected = a.substr(0, a.size() - 4);
    CharUpperBuffA(upper.data(), static_cast<DWORD>(upper.size()));
    for (char& ch : expected)
        ch = ch == ':' || ch == ' ' || ch == '\\' ? '_' : ch;
    const First running[] = {byName, StartFirst(a, {"--path"}), StartFirst(b, {"--path"}), StartFirst(upper, {"--path"})};
    EXPECT_TRUE(EventExists(expected));
    StartLater(a, {"--path"});
    for (const First& f : running)
        Quit(f);
}

// No usable name: an empty one names no event, so every start is a first one; a name taken by
// a kernel object of another kind gives no event, and the start ends as a later one would.
TEST_F(SingleInstanceAppTest, AnEmptyOrTakenNameDoesNotExclude)
{
    const std::string exe = Copy("bad"), taken = UniqueName("taken");
    const First running[] = {StartFirst(exe, {"--name", ""}), StartFirst(exe, {"--name", ""})};
    HANDLE mutex = CreateMutexA(nullptr, FALSE, taken.c_str());
    const First refused = Start(exe, {"--name", taken});
    EXPECT_EQ(0u, refused.thread);
    EXPECT_EQ(LaterInstanceExit, refused.process->WaitExit(MustHappenMs()));
    CloseHandle(mutex);
    for (const First& f : running)
        Quit(f);
}
}  // namespace
