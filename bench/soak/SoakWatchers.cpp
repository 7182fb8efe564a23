// The watchers under churn. A churn thread works on a temporary folder and a temporary key below
// HKEY_CURRENT_USER in bursts; after each burst it waits (bounded) until the monitors have told
// it, then starts the next. What each monitor's accounting means:
//   - file-system monitor: every operation expects its record by action and relative path
//     (create ADDED, write MODIFIED, rename OLD and NEW, delete REMOVED); names are never reused.
//     An overflow record (the folder itself) accounts for every expectation still open when it
//     arrives. Extra records (the MODIFIED after a create, a folder's MODIFIED) are allowed.
//   - directory monitor (200 ms delay, merging a burst into one message): a message arrives
//     after each burst has ended.
//   - file monitor (no delay) on one file that every burst appends to: a message arrives after
//     each burst's append.
//   - registry monitor: the records, applied in order to a copy of the tree (key added, removed;
//     value added, changed, removed), must give the tree as the churn left it after every burst.
//     The monitor takes its picture before it arms its notice again, so a change that lands
//     between the two is told only with the next change: a burst whose records have not brought
//     the copy level within a moment gets a change of a "sync" value, which the copy ignores. A
//     picture is no atomic view of the tree: one that a deletion overlapped may skip a value that
//     stayed and tell it removed, and the next picture tells it added again. Such records are
//     counted as extra; the check is that the copy follows the tree, so no change goes untold.
// Folders are used from the burst after the one that made them: under Wine a watch below the
// root begins only once the folder's creation has been processed.
#include "soak/Soak.h"

#include "support/MessageWindow.h"
#include "weftcore.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <random>
#include <set>

namespace weft::soak
{
namespace
{
constexpr UINT WmFs = WM_APP + 1;
constexpr UINT WmDir = WM_APP + 2;
constexpr UINT WmFile = WM_APP + 3;
constexpr UINT WmReg = WM_APP + 4;
constexpr UINT WmFlush = WM_APP + 5;

// Expected records by key, matched by the records that arrive.
class Ledger
{
public:
    void Expect(const std::string& key)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_open[key];
        ++m_expected;
    }
    void Receive(const std::string& key)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = m_open.find(key);
        if (it == m_open.end())
        {
            if (++m_extra == 1)
                m_firstExtra = key;
        }
        else
        {
            ++m_matched;
            if (--it->second == 0)
                m_open.erase(it);
        }
        m_changed.notify_all();
    }
    // An overflow: every open expectation is accounted for by it.
    void Overflow()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_overflows;
        for (const auto& [key, count] : m_open)
            m_byOverflow += count;
        m_open.clear();
        m_changed.notify_all();
    }
    bool WaitAllMatched(DWORD ms)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::milliseconds(ms), [this] { return m_open.empty(); });
    }
    void ForgetExtras()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_extra = 0;
    }
    long long Expected() const { return m_expected; }
    long long Matched() const { return m_matched; }
    long long Extra() const { return m_extra; }
    long long Overflows() const { return m_overflows; }
    long long ByOverflow() const { return m_byOverflow; }
    long long Missing()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        long long n = 0;
        for (const auto& [key, count] : m_open)
            n += count;
        return n;
    }
    std::string FirstExtra() const { return m_firstExtra; }
    std::string FirstMissing()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_open.empty() ? std::string() : m_open.begin()->first;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::map<std::string, long long> m_open;
    std::string m_firstExtra;
    long long m_expected = 0, m_matched = 0, m_extra = 0, m_overflows = 0, m_byOverflow = 0;
};

// The tree as the registry monitor's records tell it: key -> value name -> text.
class ToldTree
{
public:
    using Tree = std::map<std::string, std::map<std::string, std::string>>;
    void Apply(int action, const std::string& key, const std::string& name, const std::string& text)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_records;
        if (action == 1)
            m_tree[key];
        else if (action == 2)
            m_tree.erase(key);
        else if (action == 3 || action == 5)
            m_tree[key][name] = text;
        else if (action == 4)
            m_tree[key].erase(name);
    }
    bool Equals(const Tree& tree)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_tree == tree;
    }
    long long Records()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_records;
    }

private:
    std::mutex m_mutex;
    Tree m_tree{{"", {}}};
    long long m_records = 0;
};

class WatcherPart : public Part
{
public:
    WatcherPart()
        : m_window([this](UINT msg, WPARAM wParam, LPARAM lParam) { OnMessage(msg, wParam, lParam); })
    {
        char temp[MAX_PATH + 1] = {};
        GetTempPathA(MAX_PATH, temp);
        m_root = std::string(temp) + UniqueName("weftsoak-watch-") + "\\";
        m_key = "Software\\" + UniqueName("weftsoak-");
    }
    const char* Name() const override { return "watchers"; }

    void Run(const std::atomic<bool>& stop) override
    {
        CreateDirectoryA(m_root.c_str(), nullptr);
        HKEY key = nullptr;
        RegCreateKeyExA(HKEY_CURRENT_USER, m_key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
        if (key != nullptr)
            RegCloseKey(key);
        Append(m_root + "watched.txt");
        {
            FSMonitorThread fs(m_root.c_str(), WmFs, m_window.Handle(), true, 0);
            DirMonitorThread dir(m_root.c_str(), true, 0x1 | 0x2 | 0x8 | 0x10, WmDir, m_window.Handle(), 200, 0,
                                 false);
            FileMonitorThread file((m_root + "watched.txt").c_str(), WmFile, m_window.Handle(), 0xFFFFFFFF, 0,
                                   false);
            RegMonitorThread reg(HKEY_CURRENT_USER, m_key.c_str(), true, WmReg, m_window.Handle(), 0);
            m_armed = Arm();
            if (m_armed)
            {
                while (!stop)
                    Burst();
                m_fs.WaitAllMatched(Scaled(20000));
                RegistryTold(Scaled(20000));
            }
        }
        // The monitors are gone; their last sends are queued before this one.
        SendMessageA(m_window.Handle(), WmFlush, 0, 0);
        Clean();
    }

    void Finish(std::vector<Check>& checks) override
    {
        if (!m_armed)
        {
            checks.push_back({"monitors armed", false, "no first change was told within the time-out"});
            return;
        }
        checks.push_back({"file-system monitor: every change has its record or an overflow",
                          m_fs.Missing() == 0,
                          Counts({{"operations' records expected", m_fs.Expected()},
                                  {"matched", m_fs.Matched()},
                                  {"extra", m_fs.Extra()},
                                  {"overflows", m_fs.Overflows()},
                                  {"covered by overflow", m_fs.ByOverflow()},
                                  {"missing", m_fs.Missing()}}) +
                              (m_fs.Missing() ? " (first: " + m_fs.FirstMissing() + ")" : "")});
        checks.push_back({"directory monitor: a message after every burst", m_dirMissed == 0,
                          Counts({{"bursts", m_bursts}, {"messages", m_dirMessages}, {"bursts without", m_dirMissed}})});
        checks.push_back({"file monitor: a message after every burst's write", m_fileMissed == 0,
                          Counts({{"writes", m_bursts}, {"messages", m_fileMessages}, {"writes without", m_fileMissed}})});
        const long long records = m_told.Records();
        checks.push_back({"registry monitor: its records follow every change of the tree", m_regUntold == 0,
                          Counts({{"changes", m_regChanges},
                                  {"records", records},
                                  {"extra records", records - m_regChanges},
                                  {"bursts told only with a sync change", m_regSynced},
                                  {"bursts never told", m_regUntold}})});
        checks.push_back({"records: every one received was deleted", m_received > 0 && m_received == m_deleted,
                          Counts({{"received", m_received}, {"deleted", m_deleted}})});
    }

private:
    void OnMessage(UINT msg, WPARAM, LPARAM lParam)
    {
        if (msg == WmFs)
        {
            auto* record = reinterpret_cast<FSChangeNotification*>(lParam);
            ++m_received;
            const std::string path = static_cast<const char*>(record->GetPath());
            const unsigned long action = record->GetAction();
            delete record;
            ++m_deleted;
            if (path == m_root)
                m_fs.Overflow();
            else if (path.compare(0, m_root.size(), m_root) == 0)
            {
                const std::string name = path.substr(m_root.size());
                if (name == "watched.txt")
                    m_fsWatchedSeen = m_burstsStarted.load();
                m_fs.Receive(std::to_string(action) + "|" + name);
            }
        }
        else if (msg == WmReg)
        {
            auto* record = reinterpret_cast<RegChangeNotification*>(lParam);
            ++m_received;
            std::string key = static_cast<const char*>(record->GetKey());
            const std::string name = static_cast<const char*>(record->GetValueName());
            const std::string text = static_cast<const char*>(record->GetValue());
            const int action = static_cast<int>(record->GetAction());
            delete record;
            ++m_deleted;
            key = key.size() > m_key.size() ? key.substr(m_key.size() + 1) : "";
            if (name != "sync")
                m_told.Apply(action, key, name, text);
            else
                m_regArmed = true;
        }
        else if (msg == WmDir)
        {
            ++m_dirMessages;
            m_dirSeen = m_burstsDone.load();
        }
        else if (msg == WmFile)
        {
            ++m_fileMessages;
            m_fileSeen = m_burstsStarted.load();
        }
    }

    // Changes the folder, the file and the key until every monitor has told of one: the threads
    // arm their notices after the constructors return.
    bool Arm()
    {
        m_burstsStarted = 1;
        m_burstsDone = 1;
        const bool armed = WaitUntil(
            [this] {
                Append(m_root + "watched.txt");
                SetValue("", "sync", std::to_string(++m_counter));
                Sleep(600);  // longer than the directory monitor's delay
                return m_fsWatchedSeen == 1 && m_dirSeen == 1 && m_fileSeen == 1 && m_regArmed;
            },
            Scaled(20000));
        m_dirSeen = 0;
        m_fileSeen = 0;
        m_fs.ForgetExtras();
        return armed;
    }

    void Burst()
    {
        const long long b = ++m_bursts + 1;
        m_burstsStarted = b;
        ChurnFiles();
        ChurnRegistry();
        m_burstsDone = b;
        const DWORD limit = Scaled(10000);
        m_fs.WaitAllMatched(limit);
        RegistryTold(limit);
        if (!WaitUntil([&] { return m_dirSeen == b; }, limit))
            ++m_dirMissed;
        if (!WaitUntil([&] { return m_fileSeen == b; }, limit))
            ++m_fileMissed;
        // Folders made in this burst are told now: the next burst may use them.
        for (const std::string& d : m_newDirs)
            m_files[d];
        m_newDirs.clear();
    }

    // Waits until the records have brought the told copy level with the tree; after a moment
    // without, a change of the sync value makes the monitor take a picture again.
    void RegistryTold(DWORD limit)
    {
        if (WaitUntil([this] { return m_told.Equals(m_texts); }, Scaled(500)))
            return;
        const bool told = WaitUntil(
            [this] {
                SetValue("", "sync", std::to_string(++m_counter));
                return WaitUntil([this] { return m_told.Equals(m_texts); }, Scaled(300));
            },
            limit);
        ++(told ? m_regSynced : m_regUntold);
    }

    std::string NewName(const char* prefix) { return prefix + std::to_string(++m_counter); }

    void ChurnFiles()
    {
        std::vector<std::string> dirs;
        size_t fileCount = 0;
        for (const auto& [dir, files] : m_files)
        {
            dirs.push_back(dir);
            fileCount += files.size();
        }
        auto pickDir = [&] { return dirs[m_random() % dirs.size()]; };
        auto pickFile = [&](std::string& dir, size_t& index) {
            for (int tries = 0; tries < 8; ++tries)
            {
                dir = pickDir();
                if (!m_files[dir].empty())
                {
                    index = m_random() % m_files[dir].size();
                    return true;
                }
            }
            return false;
        };
        const int creates = fileCount > 60 ? 0 : 2;
        for (int i = 0; i < creates; ++i)
        {
            const std::string dir = pickDir(), path = dir + NewName("f") + ".txt";
            m_fs.Expect("1|" + path);
            Append(m_root + path);
            m_files[dir].push_back(path);
        }
        for (int i = 0; i < 2; ++i)
        {
            std::string dir;
            size_t index;
            if (pickFile(dir, index))
            {
                m_fs.Expect("3|" + m_files[dir][index]);
                Append(m_root + m_files[dir][index]);
            }
        }
        std::string dir;
        size_t index;
        if (pickFile(dir, index))
        {
            const std::string to = dir + NewName("f") + ".txt";
            m_fs.Expect("4|" + m_files[dir][index]);
            m_fs.Expect("5|" + to);
            MoveFileA((m_root + m_files[dir][index]).c_str(), (m_root + to).c_str());
            m_files[dir][index] = to;
        }
        for (int i = 0; i < (fileCount > 40 ? 3 : 1); ++i)
            if (pickFile(dir, index))
                DeleteOne(dir, index);
        // The watched file, in the middle of the burst.
        m_fs.Expect("3|watched.txt");
        Append(m_root + "watched.txt");
        if (m_bursts % 5 == 0 && dirs.size() < 5)
        {
            const std::string d = NewName("d") + "\\";
            m_fs.Expect("1|" + d.substr(0, d.size() - 1));
            CreateDirectoryA((m_root + d).c_str(), nullptr);
            m_newDirs.push_back(d);
        }
        else if (m_bursts % 5 == 0 && dirs.size() > 1)
        {
            const std::string d = dirs[1 + m_random() % (dirs.size() - 1)];
            while (!m_files[d].empty())
                DeleteOne(d, 0);
            m_fs.Expect("2|" + d.substr(0, d.size() - 1));
            RemoveDirectoryA((m_root + d).c_str());
            m_files.erase(d);
        }
    }

    void DeleteOne(const std::string& dir, size_t index)
    {
        auto& files = m_files[dir];
        m_fs.Expect("2|" + files[index]);
        DeleteFileA((m_root + files[index]).c_str());
        files.erase(files.begin() + static_cast<long>(index));
    }

    void ChurnRegistry()
    {
        // Each name once per burst: a key is either changed in its values or added or removed.
        std::vector<std::string> keys;
        for (const auto& [k, values] : m_values)
            keys.push_back(k);
        std::set<std::string> touchedKeys;
        for (int i = 0; i < 4; ++i)
        {
            const std::string k = keys[m_random() % keys.size()];
            touchedKeys.insert(k);
            auto& values = m_values[k];
            const int what = static_cast<int>(m_random() % 3);
            if (what == 0 || values.size() < 2)
            {
                const std::string name = NewName("v");
                ++m_regChanges;
                m_texts[k][name] = name;
                SetValue(k, name, name);
                m_changedThisBurst.push_back({k, name});  // open to changes from the next burst
            }
            else if (what == 1 || values.size() < 4)
            {
                const size_t index = m_random() % values.size();
                const std::string name = values[index];
                values.erase(values.begin() + static_cast<long>(index));  // at most once per burst
                ++m_regChanges;
                const std::string text = NewName("x");
                m_texts[k][name] = text;
                SetValue(k, name, text);
                m_changedThisBurst.push_back({k, name});
            }
            else
            {
                const size_t index = m_random() % values.size();
                ++m_regChanges;
                m_texts[k].erase(values[index]);
                RegDeleteKeyValueA(HKEY_CURRENT_USER, Full(k).c_str(), values[index].c_str());
                values.erase(values.begin() + static_cast<long>(index));
            }
        }
        for (const auto& [k, name] : m_changedThisBurst)
            m_values[k].push_back(name);
        m_changedThisBurst.clear();
        if (m_bursts % 3 == 0 && keys.size() < 6)
        {
            const std::string k = NewName("k");
            ++m_regChanges;
            m_texts[k];
            HKEY h = nullptr;
            RegCreateKeyExA(HKEY_CURRENT_USER, Full(k).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h, nullptr);
            if (h != nullptr)
                RegCloseKey(h);
            m_values[k];
        }
        else if (m_bursts % 3 == 0 && keys.size() > 2)
        {
            const std::string k = keys[1 + m_random() % (keys.size() - 1)];
            if (touchedKeys.count(k) == 0)
            {
                ++m_regChanges;
                m_texts.erase(k);
                RegDeleteKeyA(HKEY_CURRENT_USER, Full(k).c_str());
                m_values.erase(k);
            }
        }
    }

    std::string Full(const std::string& k) const { return k.empty() ? m_key : m_key + "\\" + k; }

    void SetValue(const std::string& k, const std::string& name, const std::string& data)
    {
        RegSetKeyValueA(HKEY_CURRENT_USER, Full(k).c_str(), name.c_str(), REG_SZ, data.c_str(),
                        static_cast<DWORD>(data.size() + 1));
    }

    static void Append(const std::string& path)
    {
        HANDLE h = CreateFileA(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                               nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (h == INVALID_HANDLE_VALUE)
            return;
        DWORD written = 0;
        WriteFile(h, "soak line\r\n", 11, &written, nullptr);
        CloseHandle(h);
    }

    void Clean()
    {
        for (const auto& [dir, files] : m_files)
            for (const std::string& f : files)
                DeleteFileA((m_root + f).c_str());
        for (const std::string& d : m_newDirs)
            m_files[d];
        for (const auto& [dir, files] : m_files)
            if (!dir.empty())
                RemoveDirectoryA((m_root + dir).c_str());
        DeleteFileA((m_root + "watched.txt").c_str());
        RemoveDirectoryA(m_root.c_str());
        RegDeleteTreeA(HKEY_CURRENT_USER, m_key.c_str());
    }

    std::string m_root, m_key;
    std::mt19937 m_random{12345};
    long long m_counter = 0, m_bursts = 0, m_dirMissed = 0, m_fileMissed = 0;
    bool m_armed = false;
    // Relative folder ("" or "d7\") -> its files' relative paths; key ("" or "k3") -> value names.
    std::map<std::string, std::vector<std::string>> m_files{{"", {}}};
    std::vector<std::string> m_newDirs;
    std::map<std::string, std::vector<std::string>> m_values{{"", {}}};
    std::vector<std::pair<std::string, std::string>> m_changedThisBurst;
    Ledger m_fs;
    // The registry as the churn left it, and as the monitor's records tell it.
    ToldTree::Tree m_texts{{"", {}}};
    ToldTree m_told;
    long long m_regChanges = 0, m_regSynced = 0, m_regUntold = 0;
    std::atomic<long long> m_burstsStarted{0}, m_burstsDone{0}, m_dirSeen{0}, m_fileSeen{0}, m_fsWatchedSeen{0};
    std::atomic<long long> m_received{0}, m_deleted{0}, m_dirMessages{0}, m_fileMessages{0};
    std::atomic<bool> m_regArmed{false};
    weft::test::MessageWindow m_window;  // last: its thread ends before the fields above go
};
}  // namespace

std::unique_ptr<Part> MakeWatcherPart()
{
    return std::make_unique<WatcherPart>();
}
}  // namespace weft::soak
