#include "module/CodedTexts.h"
#include "support/OwnerWindow.h"

using namespace weft::test;

// A private key below HKEY_CURRENT_USER; the owner keeps each record as "action key name=value".
class RegMonitorThreadTest : public ::testing::Test
{
protected:
    static constexpr unsigned short RegWParam = 0xBEEF;
    struct Probe : RegMonitorThread
    { using RegMonitorThread::RegMonitorThread, RegMonitorThread::DoComparisons, RegMonitorThread::GetKeySnapshot; };
    void SetUp() override { RegCreateKeyA(HKEY_CURRENT_USER, key.c_str(), &hKey); }
    void TearDown() override
    {
        EXPECT_TRUE(!monitor || StopsByItself(*monitor));  // bounded, unlike the destructor
        monitor.reset(), RegCloseKey(hKey), RegDeleteTreeA(HKEY_CURRENT_USER, key.c_str());
    }
    void Set(const char* sub, const char* name, const std::string& data, DWORD type = REG_SZ)
    { RegSetKeyValueA(hKey, sub, name, type, data.data(), static_cast<DWORD>(data.size())); }
    Lines Watch(bool subtree)
    {
        const HWND w = owner.Handle();
        monitor = std::make_unique<RegMonitorThread>(HKEY_CURRENT_USER, key.c_str(), subtree, WatchMsg, w, RegWParam);
        return Settle();
    }
    Lines Settle(int nudges = 1)  // changes "nudge" till its latest text is told, nudges times; gives the rest
    {
        Lines others;
        for (DWORD wait = Scaled(50); nudges > 0 && wait < 4 * MustHappenMs(); wait *= 2)
        {
            const std::string nudge = " nudge=" + UniqueName("n");
            Set(nullptr, "nudge", nudge.substr(7));
            for (bool told = false; !told && owner.WaitForCount(taken + 1, wait); ++taken)
            {
                const std::string got = owner.Messages()[taken].text;
                if (got.ends_with(nudge))
                    told = true, --nudges, wait = Scaled(25);
                else if (got.find(" nudge=") == std::string::npos)
                    others.push_back(got);
            }
        }
        return nudges == 0 ? others : Lines{"the latest change was never told"};
    }

    const std::string key = "Software\\" + UniqueName("regmon");
    HKEY hKey = nullptr;
    size_t taken = 0;
    OwnerWindow owner{[](OwnerWindow::Message& m) {
        const std::unique_ptr<RegChangeNotification> r(reinterpret_cast<RegChangeNotification*>(m.lParam));
        DateTime at;
        r->GetDatetime(at);
        EXPECT_TRUE(m.msg == WatchMsg && m.wParam == RegWParam && at.IsValid());
        m.text = std::to_string(int(r->GetAction())) + " " + r->GetKey().GetString() + " " +  // an int, as compared
                 r->GetValueName().GetString() + "=" + r->GetValue().GetString();
    }};
    std::unique_ptr<RegMonitorThread> monitor;
};

// Passes tell keys and values added, changed, removed; records order by every field; a refusal keeps its text, logs.
TEST_F(RegMonitorThreadTest, ComparisonsTellEachDifferenceInPassOrderAndRecordsOrderByEveryField)
{
    std::vector<std::pair<CString, CString>> many;
    for (int i = 0; i < 40; ++i)
        many.emplace_back(std::to_string(i).c_str(), std::to_string(i * i).c_str());
    auto changed = many;
    changed[33].second = "w";
    const std::pair<RegKeySnapshot, RegKeySnapshot> cases[] = {
        {{{"A", {{"x", "1"}, {"w", "5"}}}, {"A\\B", {{"v", "1"}}}},
         {{"A", {{"w", "5"}, {"x", "2"}, {"y", "3"}}}, {"A\\C", {{"z", "4"}}}}},
        {{{"A", {{"x", "1"}, {"v", "a"}}}}, {{"A", {{"X", "1"}, {"v", "A"}}}}},
        {{{"K", many}}, {{"K", changed}}},
    };
    Probe probe(nullptr, "", false, WatchMsg, owner.Handle(), RegWParam);
    for (const auto& [before, after] : cases)
        probe.DoComparisons(before, after);
    const Lines expected{"1 A\\C =", "3 A\\C z=4", "2 A\\B =", "5 A x=2", "3 A y=3",
                         "3 A X=1", "5 A v=A", "4 A x=", "5 K 33=w"};
    EXPECT_TRUE(owner.WaitForCount(expected.size()) && owner.StaysAt(expected.size(), Scaled(100)));
    Lines got;
    std::ranges::transform(owner.Messages(), std::back_inserter(got), &OwnerWindow::Message::text);
    EXPECT_EQ(expected, got);
    EXPECT_TRUE(OrderByTimeAndFields<RegChangeNotification>([](RegChangeNotification& r, bool high) {
        const char* text = high ? "b" : "a";
        r.SetAction(high ? RegChange::KeyRemoved : RegChange::KeyAdded);
        r.SetKey(text), r.SetValueName(text), r.SetValue(text);
    }));
    const CString prefix = StringUtils::DecryptText(CodedTexts::RegLocalMachinePrefix);
    const CString lead = StringUtils::DecryptText(CodedTexts::RegErrorLeadText);
    const CString bad = StringUtils::DecryptText(CodedTexts::RegBadKeyText);
    const std::tuple<HKEY, CString, LONG, const char*> refusals[] = {
        {nullptr, "Software", 0, "{ADF238B1-5FA6-42E1-9A7C-1FC0AA91AE59}"},
        {HKEY_CURRENT_USER, "", 0, "{ADF238B1-5FA6-42E1-9A7C-1FC0AA91AE59}"},
        {HKEY_LOCAL_MACHINE, "X\\" + prefix, 0, "{3D114CC2-A7B0-4F5D-9099-8343A6FBD820}"},
        {HKEY_LOCAL_MACHINE, prefix + "weft-missing", ERROR_FILE_NOT_FOUND, "{89EBEEAD-6FBC-42B1-AE9A-E967B98AAB39}"},
        {reinterpret_cast<HKEY>(0x1230), "Software", ERROR_INVALID_HANDLE, "{89EBEEAD-6FBC-42B1-AE9A-E967B98AAB39}"},
    };
    const LibraryLog log;
    std::string lines;
    for (const auto& [root, path, code, line] : refusals)
    {
        const CString text = code ? lead + SystemUtils::GetLastError(code) : bad;
        EXPECT_EQ(text, RegMonitorThread(root, path, true, WatchMsg, owner.Handle(), 1).GetErrorMsg()) << path;
        lines += std::string(line) + "\r\n";
    }
    Set("sub\\deep", "e", "%WINDIR%", REG_EXPAND_SZ);  // a picture holds the tree, texts unexpanded; no line, no leak
    RegKeySnapshot s;
    EXPECT_TRUE(LeaksNoHandles([&] {  // the last picture, of the tree, stays in s
        for (bool tree : {false, true})
            Probe(HKEY_CURRENT_USER, key.c_str(), tree, WatchMsg, owner.Handle(), 1).GetKeySnapshot(s);
    }));
    EXPECT_TRUE((s[(key + "\\sub\\deep").c_str()] == RegKeySnapshot::mapped_type{{"e", "%WINDIR%"}}));
    EXPECT_EQ(lines, log.Text());
}

// Alone a key hides its subkeys and same-text retypes; a tree's new key comes with its values, goes without;
// names outside the code page never name another key or value, and take no other value's text.
TEST_F(RegMonitorThreadTest, ATreeIsToldByWhatItsTextsShow)
{
    Set(nullptr, "w", "7");
    ASSERT_EQ(Lines(), Watch(false));
    Set(nullptr, "w", std::string("\7\0\0\0", 4), REG_DWORD);
    Set("sub", "x", "1");
    EXPECT_EQ(Lines(), Settle());
    ASSERT_EQ(Lines(), Watch(true));
    ASSERT_TRUE(WhilePaused(*monitor, [&] {  // one picture sees all of N
        Set("N", "a", std::string("text\0", 5)), Set("N", "b", std::string("\x2a\0\0\0", 4), REG_DWORD);
    }));
    const std::string n = key + "\\N";
    EXPECT_EQ(Lines({"1 " + n + " =", "3 " + n + " a=text", "3 " + n + " b=42"}), Settle());
    RegDeleteKeyValueA(hKey, "N", "a");  // a nudge in its picture is told first: the next nudge ends that pass
    EXPECT_EQ(Lines({"4 " + n + " a="}), Settle(2));
    RegDeleteKeyA(hKey, "N");
    EXPECT_EQ(Lines({"2 " + n + " ="}), Settle());
    if (GetACP() != 1252)
        GTEST_SKIP() << "the names below are chosen outside code page 1252";
    const LibraryLog log;
    const auto set = [this](const wchar_t* sub, const wchar_t* name, const std::wstring& text) {
        RegSetKeyValueW(hKey, sub, name, REG_SZ, text.c_str(), static_cast<DWORD>(text.size() + 1) * 2);
    };
    ASSERT_TRUE(WhilePaused(*monitor, [&] {  // fullwidth x, and the texts of a fullwidth backslash, of one and of two
        set(L"\uff58", L"v", L"x"), set(L"N", L"t", L"a\uff3cb");
        set(L"N", L"\u4e00", L"1"), set(L"N", L"\u4e01", L"2");
    }));
    EXPECT_EQ(Lines({"1 " + n + " =", "3 " + n + " t=a?b", "3 " + n + " ?=", "3 " + n + " ?="}), Settle());
    EXPECT_EQ(Lines(), Settle());
    const std::string logged = log.Text();  // for the left-out key alone
    EXPECT_TRUE(logged.starts_with("{3D4F4DC0-21D7-47E2-8663-3848AF1F700C}\r\n")) << logged;
    EXPECT_EQ(logged, (owner.NothingWithin(), log.Text())) << "a picture without a change";
    ASSERT_TRUE(WhilePaused(*monitor, [&] {  // its "?" would name the other value: left out
        RegDeleteKeyW(hKey, L"\uff58"), set(L"M", L"?", L"q"), set(L"M", L"\u4e00", L"1");
    }));
    EXPECT_EQ(Lines({"1 " + key + "\\M =", "3 " + key + "\\M ?=q"}), Settle());
    EXPECT_EQ(Lines(), Settle());
    monitor.reset();
    EXPECT_GT(log.Text().size(), logged.size()) << "for the left-out value";
}
