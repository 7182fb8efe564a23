// Single-instance applications as real processes (a copy of weft_single_app.exe reporting to an owner window).
#include "app/SingleAppReports.h"
#include "support/OwnerWindow.h"

using namespace weft::test;

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

    // The copy's folder has a blank in its name. The tests bring windows to the front by turns.
    void SetUp() override
    {
        WaitForSingleObject(m_turn, Scaled(120000));
        CreateDirectoryA((m_dir / "a b").c_str(), nullptr);
        ASSERT_TRUE(CopyFileA((ExeDir() + "weft_single_app.exe").c_str(), m_exe.c_str(), FALSE));
    }

    // Starts an instance and waits for its start report, which gives a first one's main thread.
    First Start(std::vector<std::string> args = {}, bool first = true, const std::string& exe = "")
    {
        args.insert(args.begin(), {"--report", std::to_string(reinterpret_cast<UINT_PTR>(m_owner.Handle()))});
        m_started.push_back(std::make_unique<ChildProcess>(exe.empty() ? m_exe : exe, args));
        const auto started = Await(ReportStarted);
        const DWORD thread = started ? static_cast<DWORD>(started->wParam) : 0;
        EXPECT_EQ(first, thread != 0) << "started as the first instance";
        return {m_started.back().get(), thread, started ? reinterpret_cast<HWND>(started->lParam) : nullptr};
    }

    // Starts a later instance, a test window in front (an activation is then the monitor's), and awaits its end.
    void StartLater(std::vector<std::string> args = {})
    {
        PostMessageA(m_owner.Handle(), TakeForeground, 0, 0);
        Await(TakeForeground);
        EXPECT_TRUE(WaitUntil([&] { return GetForegroundWindow() == m_decoy; }, MustHappenMs()));
        m_mark = m_owner.Count();
        EXPECT_EQ(LaterInstanceExit, Start(args, false).process->WaitExit(MustHappenMs()));
    }

    void Quit(const First& first)  // Ends a first instance, whose destructor waits for the monitor.
    {
        EXPECT_TRUE(PostThreadMessageA(first.thread, OrderQuit, 0, 0));
        EXPECT_EQ(FirstInstanceExit, first.process->WaitExit(MustHappenMs()));
        const auto ended = Await(ReportEnded);
        EXPECT_TRUE(ended && ended->wParam == 0 && ended->lParam == 0) << "a thread or the name outlived the object";
    }

    // The next report of the kind, leaving the others to their own calls; nothing if none came in time.
    std::optional<OwnerWindow::Message> Await(UINT kind)
    {
        for (size_t& i = m_taken[kind];; ++i)
        {
            if (!m_owner.WaitForCount(i + 1))
                return ADD_FAILURE() << "no report " << kind - WM_APP, std::nullopt;
            if (const auto m = m_owner.Messages()[i]; m.msg == kind)
                return ++i, m;
        }
    }

    TempDir m_dir{"single"};
    const std::string m_name = UniqueName("app"), m_exe = m_dir / ("a b\\" + m_name + ".exe");
    size_t m_mark = 0;  // the count of reports before the last later start
    HWND m_decoy = nullptr;
    OwnerWindow m_owner{[this](const OwnerWindow::Message& m) {
        if (m.msg == TakeForeground && !m_decoy)
            m_decoy = CreateWindowExA(0, "STATIC", "", WS_POPUP | WS_VISIBLE, 0, 0, 9, 9, {}, {}, {}, nullptr);
        if (m.msg == TakeForeground)
            SetForegroundWindow(m_decoy);
    }};
    std::vector<std::unique_ptr<ChildProcess>> m_started;
    std::map<UINT, size_t> m_taken;  // per kind, the index of the report after the last one taken
    HANDLE m_turn = CreateMutexA(nullptr, FALSE, "weft-tests-foreground");

    void TearDown() override { ReleaseMutex(m_turn), CloseHandle(m_turn); }
};

// A later start ends (InitInstance 0) and wakes the first, whose monitor brings forward the main window's last active
// popup, restores it if minimised, or sends a hidden one the special command if set; without a main window it waits on.
TEST_F(SingleInstanceAppTest, ALaterStartEndsAndTheFirstActivatesAsItsWindowAsks)
{
    enum Target { None, Main, Popup };
    // the first's main window, its special command, what comes to the front, whether the command comes
    const std::tuple<std::string, unsigned, Target, bool> cases[] = {
        {"visible", 7, Main, false},   {"hidden", 7, None, true},   {"hidden", 0, None, false},
        {"minimised", 7, Main, false}, {"dialog", 7, Popup, false}, {"none", 7, Main, false},
        {"detached", 7, Main, false},
    };
    for (const auto& [mode, command, front, commandSent] : cases)
    {
        SCOPED_TRACE(mode + " " + std::to_string(command));
        First first = Start(command ? std::vector<std::string>{"--mode", mode, "--command", std::to_string(command)}
                                    : std::vector<std::string>{"--mode", mode});  // no command set
        StartLater();
        if (!first.window)  // the next start finds the window made meanwhile
        {
            ASSERT_TRUE(PostThreadMessageA(first.thread, OrderMakeWindow, 0, 0));
            const auto made = Await(ReportStarted);
            ASSERT_TRUE(made && (first.window = reinterpret_cast<HWND>(made->lParam)) != nullptr);
            StartLater();
        }
        const auto m = commandSent ? Await(ReportCommand) : std::nullopt;
        EXPECT_TRUE(!commandSent || (m && m->wParam == command && m->lParam == 0));
        EXPECT_TRUE(front == None || WaitUntil([&] {
            const HWND w = GetForegroundWindow();
            return front == Main ? w == first.window : w != first.window && GetWindow(w, GW_OWNER) == first.window;
        }, MustHappenMs())) << "in front: " << GetForegroundWindow() << ", main window " << first.window;
        EXPECT_TRUE(WaitUntil([&] { return !IsIconic(first.window); }, MustHappenMs()));
        EXPECT_TRUE(m_owner.StaysAt(m_mark + 1 + (commandSent ? 1 : 0))) << "a command came";
        Quit(first);
    }
}

// Instances are named after the file name, or with --path after the path (':', ' ', '\\' made '_', ".exe" removed,
// case kept); a start that finds the name taken (by an event, or an object of another kind) ends as a later one.
TEST_F(SingleInstanceAppTest, InstancesAreNamedAfterTheApplicationOrItsPath)
{
    std::string byPath = m_exe.substr(0, m_exe.size() - 4), upper = m_exe;
    std::replace_if(byPath.begin(), byPath.end(), [](char c) { return c == ':' || c == ' ' || c == '\\'; }, '_');
    CharUpperBuffA(upper.data(), static_cast<DWORD>(upper.size()));
    // the name the test takes, whether by a mutex (else an event), the program's options
    const std::tuple<std::string, bool, std::vector<std::string>> cases[] = {
        {m_name, false, {}}, {byPath, false, {"--path"}}, {m_name, true, {}}};
    for (const auto& [held, byMutex, args] : cases)
    {
        SCOPED_TRACE(held);
        HANDLE object = byMutex ? CreateMutexA(nullptr, FALSE, held.c_str())
                                : CreateEventA(nullptr, FALSE, FALSE, held.c_str());
        StartLater(args);
        CloseHandle(object);
    }
    const First first = Start({"--path"});
    Quit(Start({"--path"}, true, upper));
    Quit(first);
}

// One party at a time, no owner: a second Try fails, also on the same thread; a Leave from any thread opens.
TEST(SingleAdminGateTest, OnePartyAtATimeAndAnyoneMayOpen)
{
    SingleAdminGate gate;
    MTEvent start(true, false);  // the parties wait for one signal, then try at once
    std::atomic<int> won{0};
    std::vector<std::thread> parties;
    for (int i = 0; i < 16; ++i)
        parties.emplace_back([&] { start.Wait(MustHappenMs()), won += gate.Try(); });
    start.Set();
    for (auto& party : parties)
        party.join();
    EXPECT_EQ(1, won.load()) << "of 16 parties at once";
    std::thread([&] { gate.Leave(); }).join();
    EXPECT_TRUE(gate.Try());
    EXPECT_FALSE(gate.Try());
}
