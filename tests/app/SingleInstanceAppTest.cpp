// Single-instance applications as real processes: copies of weft_single_app.exe under names of
// their own, reporting to an owner window what their instance saw.
#include "app/SingleAppReports.h"
#include "support/OwnerWindow.h"
#include "weftbase/WeftBaseTestFiles.h"

#include <memory>

using namespace weft::test;

namespace
{
constexpr UINT TakeForeground = WM_APP + 99;

class SingleInstanceAppTest : public ::testing::Test
{
protected:
    // The owner window's thread answers TakeForeground by bringing a window of its own to the
    // front, so that an activation of the application afterwards is its monitor's doing.
    SingleInstanceAppTest()
        : m_owner([this](const OwnerWindow::Message& m) {
              if (m.msg != TakeForeground)
                  return;
              if (!m_decoy)
                  m_decoy = CreateWindowExA(0, "STATIC", "decoy", WS_POPUP | WS_VISIBLE, 0, 0, 50, 50, nullptr,
                                            nullptr, nullptr, nullptr);
              SetForegroundWindow(m_decoy);
          })
    {
    }

    // A copy of the application, as dir\<name>.exe.
    std::string Copy(const std::string& dir, const std::string& name)
    {
        CreateDirectoryA((m_dir / dir).c_str(), nullptr);
        const std::string exe = m_dir / (dir + "\\" + name + ".exe");
        EXPECT_TRUE(CopyFileA((ExeDir() + "weft_single_app.exe").c_str(), exe.c_str(), FALSE));
        return exe;
    }

    ChildProcess& Start(const std::string& exe, std::vector<std::string> args = {})
    {
        args.insert(args.begin(), {"--report", std::to_string(reinterpret_cast<UINT_PTR>(m_owner.Handle()))});
        m_started.push_back(std::make_unique<ChildProcess>(exe, args));
        EXPECT_TRUE(m_started.back()->Started()) << exe;
        return *m_started.back();
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

    struct First
    {
        ChildProcess* process = nullptr;
        DWORD thread = 0;
        HWND window = nullptr;
    };

    // A first instance, once it has reported ready. Reports before it are passed over.
    First StartFirst(const std::string& exe, std::vector<std::string> args = {})
    {
        First first{&Start(exe, args)};
        auto init = Await(ReportInit);
        EXPECT_TRUE(init && init->wParam == 1) << exe << " did not start as the first instance";
        if (auto ready = Await(ReportReady))
        {
            first.thread = static_cast<DWORD>(ready->wParam);
            first.window = reinterpret_cast<HWND>(ready->lParam);
        }
        m_mark = m_owner.Count();
        return first;
    }

    // Starts a later instance and waits for it to give up; then the foreground is the decoy's.
    void StartLater(const std::string& exe, std::vector<std::string> args = {})
    {
        PostMessageA(m_owner.Handle(), TakeForeground, 0, 0);
        Await(TakeForeground);
        EXPECT_EQ(LaterInstanceExit, Start(exe, args).WaitExit(MustHappenMs())) << exe;
        auto init = Await(ReportInit);
        EXPECT_TRUE(init && init->wParam == 0);
    }

    void Quit(const First& first)
    {
        EXPECT_TRUE(PostThreadMessageA(first.thread, OrderQuit, 0, 0));
        EXPECT_EQ(FirstInstanceExit, first.process->WaitExit(MustHappenMs()));
    }

    // True if a report of the kind came after the last first instance was ready.
    bool Reported(UINT kind) const
    {
        const auto all = m_owner.Messages();
        for (size_t i = m_mark; i < all.size(); ++i)
            if (all[i].msg == kind)
                return true;
        return false;
    }

    TempDir m_dir{"single"};
    HWND m_decoy = nullptr;
    size_t m_mark = 0;
    OwnerWindow m_owner;
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
        bool commandSent;
        bool restored;
    } cases[] = {
        {"visible", 7, Main, false, false},   {"hidden", 7, None, true, false},   {"hidden", 0, None, false, false},
        {"minimised", 7, Main, false, true},  {"dialog", 7, Popup, false, false},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(std::string(c.mode) + " " + std::to_string(c.command));
        const std::string exe = Copy(c.mode + std::to_string(c.command), UniqueName("app"));
        const First first = StartFirst(exe, {"--mode", c.mode, "--command", std::to_string(c.command)});
        const HWND window = first.window;
        ASSERT_NE(nullptr, window);
        StartLater(exe);
        if (c.commandSent)
        {
            auto command = Await(ReportCommand);
            ASSERT_TRUE(command);
            EXPECT_EQ(c.command, command->wParam);
            EXPECT_EQ(0, command->lParam);
        }
        if (c.activated != None)
        {
            auto active = Await(ReportActivated);
            ASSERT_TRUE(active);
            const HWND target = reinterpret_cast<HWND>(active->lParam);
            const bool expected = c.activated == Main ? target == window
                                                      : target != window && GetWindow(target, GW_OWNER) == window;
            EXPECT_TRUE(expected) << "activated " << target << ", main window " << window;
        }
        if (c.restored)
        {
            EXPECT_TRUE(Await(ReportRestored));
            EXPECT_FALSE(IsIconic(window));
        }
        if (!c.commandSent)
        {
            EXPECT_FALSE(WaitUntil([&] { return Reported(ReportCommand); }, MustNotHappenMs()));
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
        const std::string exe = Copy(mode, UniqueName("app"));
        const First first = StartFirst(exe, {"--mode", mode});
        StartLater(exe);
        ASSERT_TRUE(PostThreadMessageA(first.thread, OrderMakeWindow, 0, 0));
        auto ready = Await(ReportReady);
        ASSERT_TRUE(ready && ready->lParam != 0);
        StartLater(exe);
        auto active = Await(ReportActivated);
        ASSERT_TRUE(active);
        EXPECT_EQ(ready->lParam, active->lParam);
        Quit(first);
    }
}

// The instance event is named after the application (here the program's file name), or after
// the program's path with ':', blanks and backslashes made '_' and ".exe" removed. Once the
// first instance has ended, the next start is a first one again.
TEST_F(SingleInstanceAppTest, InstancesAreNamedAfterTheApplicationOrItsPath)
{
    const std::string name = UniqueName("app");
    const std::string a = Copy("a b", name), b = Copy("c", name);

    // One name: the copies exclude each other, until the first ends.
    const First first = StartFirst(a);
    HANDLE named = OpenEventA(SYNCHRONIZE, FALSE, name.c_str());
    EXPECT_NE(nullptr, named) << name;
    if (named)
        CloseHandle(named);
    StartLater(b);
    Quit(first);
    const First byName = StartFirst(b);

    // Path names: both copies run, beside the one named after the application.
    const First pathA = StartFirst(a, {"--path"});
    const First pathB = StartFirst(b, {"--path"});
    std::string expected = a.substr(0, a.size() - 4);
    for (char& ch : expected)
        if (ch == ':' || ch == ' ' || ch == '\\')
            ch = '_';
    named = OpenEventA(SYNCHRONIZE, FALSE, expected.c_str());
    EXPECT_NE(nullptr, named) << expected;
    if (named)
        CloseHandle(named);
    StartLater(a, {"--path"});
    for (const First& f : {byName, pathA, pathB})
        Quit(f);
}

// The same program started through a path in other case is another instance.
TEST_F(SingleInstanceAppTest, APathInOtherCaseIsAnotherInstance)
{
    const std::string exe = Copy("case", UniqueName("app"));
    std::string upper = exe;
    CharUpperBuffA(upper.data(), static_cast<DWORD>(upper.size()));
    const First first = StartFirst(exe, {"--path"});
    const First second = StartFirst(upper, {"--path"});
    Quit(first);
    Quit(second);
}

// No usable name: an empty one names no event, so every start is a first one; a name taken by
// a kernel object of another kind gives no event, and the start ends as a later one would.
TEST_F(SingleInstanceAppTest, AnEmptyOrTakenNameDoesNotExclude)
{
    const std::string exe = Copy("bad", UniqueName("app"));
    const First one = StartFirst(exe, {"--name", ""});
    const First two = StartFirst(exe, {"--name", ""});
    const std::string taken = UniqueName("taken");
    HANDLE mutex = CreateMutexA(nullptr, FALSE, taken.c_str());
    EXPECT_EQ(LaterInstanceExit, Start(exe, {"--name", taken}).WaitExit(MustHappenMs()));
    auto init = Await(ReportInit);
    EXPECT_TRUE(init && init->wParam == 0);
    CloseHandle(mutex);
    Quit(one);
    Quit(two);
}
}  // namespace
