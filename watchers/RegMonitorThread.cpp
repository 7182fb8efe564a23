#include "watchers/RegMonitorThread.h"

#include "frame/MTWaitableCollection.h"
#include "frame/ReadyThreadSupport.h"
#include "module/CodedTexts.h"
#include "weftbase/AppLogger.h"
#include "weftbase/RegistryUtils.h"
#include "weftbase/StringUtils.h"
#include "weftbase/SystemUtils.h"
#include "weftbase/TextArray.h"

#include <new>
#include <string_view>
#include <unordered_map>

namespace
{
const char* const LogRootOrKeyEmpty = "{ADF238B1-5FA6-42E1-9A7C-1FC0AA91AE59}";
const char* const LogLocalMachinePrefix = "{3D114CC2-A7B0-4F5D-9099-8343A6FBD820}";
const char* const LogOpenFailed = "{89EBEEAD-6FBC-42B1-AE9A-E967B98AAB39}";
const char* const LogEventFailed = "{CE1EEF57-2D29-4127-A6EC-32BA2F68352E}";
const char* const LogArmFailed = "{0B8F94CC-2D61-4332-84EA-4D33A466C0AD}";
// A picture that left out keys or values whose names the code page cannot hold.
const char* const LogNamesLeftOut = "{3D4F4DC0-21D7-47E2-8663-3848AF1F700C}";

// Every kind of change, the security too, so that the picture is taken whenever the tree moves.
constexpr DWORD NotifyFilter = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_ATTRIBUTES |
                               REG_NOTIFY_CHANGE_LAST_SET | REG_NOTIFY_CHANGE_SECURITY;
constexpr unsigned long StopSignalled = WAIT_OBJECT_0;
constexpr unsigned long ChangeSignalled = WAIT_OBJECT_0 + 1;

using ValueList = std::vector<std::pair<CString, CString>>;

void Log(const char* line)
{
    if (AppLogger::m_pInstance != nullptr)
        AppLogger::m_pInstance->AddLine(line);
}

// The first pair of a list with a given name. A long list gets an index of first occurrences,
// so that comparing two keys with many values stays linear; the answer is the linear search's.
class NameLookup
{
public:
    explicit NameLookup(const ValueList& list) : m_list(list)
    {
        if (list.size() <= LinearLimit)
            return;
        m_index.reserve(list.size());
        for (size_t i = 0; i < list.size(); ++i)
            m_index.emplace(View(list[i].first), i);  // keeps the first of equal names
    }
    const std::pair<CString, CString>* Find(const CString& name) const
    {
        if (m_list.size() > LinearLimit)
        {
            const auto it = m_index.find(View(name));
            return it == m_index.end() ? nullptr : &m_list[it->second];
        }
        for (const auto& pair : m_list)
            if (pair.first.Compare(name) == 0)
                return &pair;
        return nullptr;
    }

private:
    static constexpr size_t LinearLimit = 16;
    // Up to the first zero, as CString::Compare sees the text.
    static std::string_view View(const CString& text) { return std::string_view(text.GetString()); }

    const ValueList& m_list;
    std::unordered_map<std::string_view, size_t> m_index;
};
}  // namespace

RegMonitorThread::RegMonitorThread(HKEY const root, const CString& key, bool subtree, unsigned int msg,
                                   HWND const wnd, unsigned short wParam)
    : m_bSubtree(subtree), m_wParam(wParam), m_evChange(nullptr), m_hRoot(root), m_hKey(nullptr), m_nMsg(msg),
      m_hWnd(wnd), m_pWorker(nullptr), m_strKey(key), m_bErrorSet(false)
{
    if (root == nullptr || key.IsEmpty())
    {
        Refuse(StringUtils::DecryptText(CodedTexts::RegBadKeyText), LogRootOrKeyEmpty);
        return;
    }
    if (root == HKEY_LOCAL_MACHINE && key.Find(StringUtils::DecryptText(CodedTexts::RegLocalMachinePrefix), 0) != 0)
    {
        Refuse(StringUtils::DecryptText(CodedTexts::RegBadKeyText), LogLocalMachinePrefix);
        return;
    }
    const LONG code = ::RegOpenKeyExA(root, key, 0, KEY_READ, &m_hKey);
    if (code != ERROR_SUCCESS)
    {
        m_hKey = nullptr;
        Refuse(StringUtils::DecryptText(CodedTexts::RegErrorLeadText) + SystemUtils::GetLastError(code),
               LogOpenFailed);
        return;
    }
    ReadyThreadSupport::StartWorker(m_pWorker, RegMonitorThreadFunc, this);
}

RegMonitorThread::~RegMonitorThread()
{
    ReadyThreadSupport::DestroyWorker(m_pWorker);
    if (m_hKey != nullptr)
        ::RegCloseKey(m_hKey);
    if (m_evChange != nullptr)
        ::CloseHandle(m_evChange);
    m_hKey = nullptr;
    m_evChange = nullptr;
}

CString RegMonitorThread::GetKey(HKEY& root) const
{
    root = m_hRoot;
    return m_strKey;
}

CString RegMonitorThread::GetErrorMsg() const
{
    return m_bErrorSet.load(std::memory_order_acquire) ? m_strErrorMsg : CString();
}

void RegMonitorThread::SetPriority(int priority)
{
    ReadyThreadSupport::SetPriority(m_pWorker, priority);
}

int RegMonitorThread::GetPriority() const
{
    return ReadyThreadSupport::GetPriority(m_pWorker);
}

void RegMonitorThread::Pause()
{
    ReadyThreadSupport::Pause(m_pWorker);
}

bool RegMonitorThread::IsPaused() const
{
    return ReadyThreadSupport::IsPaused(m_pWorker);
}

void RegMonitorThread::Resume()
{
    ReadyThreadSupport::Resume(m_pWorker);
}

void RegMonitorThread::Stop(unsigned long timeout)
{
    ReadyThreadSupport::StopWorker(m_pWorker, timeout);
}

void RegMonitorThread::Refuse(const CString& text, const char* logLine)
{
    m_strErrorMsg = text;
    m_bErrorSet.store(true, std::memory_order_release);
    Log(logLine);
}

void RegMonitorThread::Fail(unsigned long code, const char* logLine)
{
    // The system's text first: decoding the lead text must not change the thread's last error.
    const CString error = SystemUtils::GetLastError(code);
    Refuse(StringUtils::DecryptText(CodedTexts::RegErrorLeadText) + error, logLine);
}

unsigned int RegMonitorThread::RegMonitorThreadFunc(void* self)
{
    RegMonitorThread* monitor = static_cast<RegMonitorThread*>(self);
    if (monitor == nullptr)
        return 0;
    ReadyThreadSupport::AwaitWorker(monitor->m_pWorker);
    monitor->DoWork();
    return 0;
}

void RegMonitorThread::DoWork()
{
    m_evChange = ::CreateEventA(nullptr, FALSE, FALSE, nullptr);
    if (m_evChange == nullptr)
    {
        Fail(0, LogEventFailed);
        return;
    }
    RegKeySnapshot before, after;
    GetKeySnapshot(before);  // the baseline, whatever the owner window's state

    MTWaitableCollection waits;
    m_pWorker->AddStopEvent(&waits);  // index 0: a stop wins over a change
    waits.AddObject(m_evChange);
    LONG code = ::RegNotifyChangeKeyValue(m_hKey, m_bSubtree, NotifyFilter, m_evChange, TRUE);
    while (code == ERROR_SUCCESS)
    {
        if (m_pWorker->IsStopped() || waits.Wait(false, INFINITE) != ChangeSignalled)
            return;  // the stop, or a failed wait: nothing recorded
        if (ReadyThreadSupport::MayTell(m_hWnd, m_nMsg, true))
        {
            // The picture before the arming: a change in between is found at the next signal.
            GetKeySnapshot(after);
            DoComparisons(before, after);
            before.swap(after);  // after is cleared by the next picture
        }
        code = ::RegNotifyChangeKeyValue(m_hKey, m_bSubtree, NotifyFilter, m_evChange, TRUE);
    }
    Fail(static_cast<unsigned long>(code), LogArmFailed);
}

void RegMonitorThread::GetKeySnapshot(RegKeySnapshot& snapshot) const
{
    snapshot.clear();
    TextArray keys;
    unsigned long leftOut = 0, valuesLeftOut;
    if (m_bSubtree)
        RegistryUtils::GetSubKeys(m_hRoot, m_strKey, keys, true, &leftOut);
    keys.Add(m_strKey);
    TextArray names, texts;
    for (unsigned long long k = 0; k < keys.GetCount(); ++k)
    {
        const CString key = keys.GetCopyAt(k);
        // Each value's name and text in one pass over the key: what listing the names and then
        // reading each by name gives, at a quarter of the registry calls. A name that the code
        // page cannot hold comes with the empty text, or is left out where it would name another
        // value; it never takes another value's text.
        RegistryUtils::GetKeyValueTexts(m_hRoot, key, names, texts, false, &valuesLeftOut);
        leftOut |= valuesLeftOut;
        ValueList values;
        values.reserve(static_cast<size_t>(names.GetCount()));
        for (unsigned long long n = 0; n < names.GetCount(); ++n)
            values.emplace_back(names.GetCopyAt(n), texts.GetCopyAt(n));
        snapshot.emplace(key, std::move(values));  // a path already there keeps its entry
    }
    if (leftOut != 0)
        Log(LogNamesLeftOut);
}

void RegMonitorThread::DoComparisons(const RegKeySnapshot& before, const RegKeySnapshot& after) const
{
    for (const auto& [key, values] : after)
    {
        if (before.find(key) != before.end())
            continue;
        SendChange(RegChange::KeyAdded, key, nullptr, nullptr);
        for (const auto& [name, text] : values)
            SendChange(RegChange::ValueAdded, key, &name, &text);
    }
    for (const auto& entry : before)
        if (after.find(entry.first) == after.end())
            SendChange(RegChange::KeyRemoved, entry.first, nullptr, nullptr);
    for (const auto& [key, values] : after)
    {
        const auto old = before.find(key);
        if (old == before.end())
            continue;
        const NameLookup lookup(old->second);
        for (const auto& [name, text] : values)
        {
            const auto* was = lookup.Find(name);
            if (was == nullptr)
                SendChange(RegChange::ValueAdded, key, &name, &text);
            else if (was->second.Compare(text) != 0)
                SendChange(RegChange::ValueChanged, key, &name, &text);
        }
    }
    for (const auto& [key, values] : before)
    {
        const auto now = after.find(key);
        if (now == after.end())
            continue;
        const NameLookup lookup(now->second);
        for (const auto& pair : values)
            if (lookup.Find(pair.first) == nullptr)
                SendChange(RegChange::ValueRemoved, key, &pair.first, nullptr);
    }
}

void RegMonitorThread::SendChange(RegChange action, const CString& key, const CString* name,
                                  const CString* value) const
{
    RegChangeNotification* record = new (std::nothrow) RegChangeNotification();
    if (record == nullptr)
        return;  // this difference is skipped, the next one still goes
    record->SetAction(action);
    record->SetKey(key);
    if (name != nullptr)
        record->SetValueName(*name);
    if (value != nullptr)
        record->SetValue(*value);
    // The window was tested once for this signal; a send that fails now reaches nobody.
    if (!ReadyThreadSupport::NotifyOwner(m_hWnd, m_nMsg, m_wParam, reinterpret_cast<LPARAM>(record), false))
        delete record;
}
