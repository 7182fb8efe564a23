#include "jobs/FindFileThread.h"

#include "frame/ReadyThreadSupport.h"
#include "locks/MTAutoLock.h"
#include "weftbase/AppLogger.h"
#include "weftbase/CodePageText.h"
#include "weftbase/DirUtils.h"
#include "weftbase/StringUtils.h"

#include <atomic>
#include <climits>
#include <utility>
#include <vector>

namespace
{
// The restart flag is written under the mutex and read at every entry without it.
bool LoadFlag(const bool& flag)
{
    return std::atomic_ref<bool>(const_cast<bool&>(flag)).load(std::memory_order_acquire);
}

void StoreFlag(bool& flag, bool value)
{
    std::atomic_ref<bool>(flag).store(value, std::memory_order_release);
}

// Matches are told in runs under one hold of the mutex: at most this many, and none held back
// longer than this.
constexpr size_t HeldMatches = 64;
constexpr ULONGLONG HeldMs = 10;

// An entry the code page cannot name, with no short name that it can: left out, with all below it.
const char* const LogNameLeftOut = "{17165AEB-488E-417D-95BD-8B37E8788F37}";

// The name of a found entry in a form that opens it: its own if the code page holds it exactly,
// else its short name; false if neither.
bool OpeningName(const WIN32_FIND_DATAW& entry, CString& name)
{
    if (CodePageText::ToCodePage(entry.cFileName, -1, name))
        return true;
    if (CodePageText::ToCodePage(entry.cAlternateFileName, -1, name) && !name.IsEmpty())
        return true;
    if (AppLogger::m_pInstance != nullptr)
        AppLogger::m_pInstance->AddLine(LogNameLeftOut);
    return false;
}
}  // namespace

FindFileThread::FindFileThread(unsigned int msg, HWND wnd, __int64 lParam, int entriesPerPause)
    : m_nEntriesSincePause(0), m_nEntriesPerPause(entriesPerPause), m_nMsg(msg), m_hWnd(wnd), m_lParam(lParam),
      m_pWorker(nullptr), m_pMutex(nullptr)
{
    m_pMutex = new MTMutex(false, "wl_fft_mutex", nullptr);
    ReadyThreadSupport::StartWorker(m_pWorker, FindFileThreadFunc, this);
}

FindFileThread::~FindFileThread()
{
    ReadyThreadSupport::DestroyWorker(m_pWorker);
    delete m_pMutex;
    m_pMutex = nullptr;
}

void FindFileThread::SetPriority(int priority)
{
    ReadyThreadSupport::SetPriority(m_pWorker, priority);
}

int FindFileThread::GetPriority()
{
    return ReadyThreadSupport::GetPriority(m_pWorker);
}

void FindFileThread::DoFind(const CString& dir, const TextArray& specsA, const TextArray& specsB,
                            const TextArray& skipDirs, bool recurse, bool matchOption, bool stopDirAtMatch)
{
    {
        MTAutoLock hold(m_pMutex);
        StoreFlag(m_bRestart, true);
        m_bRecurse = recurse;
        m_bStopDirAtMatch = recurse && stopDirAtMatch;
        m_bMatchOption = matchOption;
        m_strDir = dir;
        m_specsA = specsA;
        m_specsB = specsB;
        m_skipDirs = skipDirs;
        DirUtils::EnsureTrailingBackslash(m_strDir);
        if (!DirUtils::IsDir(dir, true) || !DirUtils::DoesDirExist(dir))
        {
            // m_bRestart stays set, so that a running scan gives way.
            m_strDir.Empty();
            m_results.RemoveAll();
            return;
        }
    }
    m_evWork.Set();
}

void FindFileThread::Stop(unsigned long timeout)
{
    ReadyThreadSupport::StopWorker(m_pWorker, timeout);
}

bool FindFileThread::IsValidIndex(unsigned __int64 index) const
{
    MTAutoLock hold(m_pMutex);
    return index < m_results.GetCount();
}

CString FindFileThread::GetFileAtIndex(unsigned __int64 index) const
{
    if (m_pMutex == nullptr)
        return CString();
    MTAutoLock hold(m_pMutex);
    return m_results.GetCopyAt(index);
}

unsigned int FindFileThread::FindFileThreadFunc(void* self)
{
    FindFileThread* finder = static_cast<FindFileThread*>(self);
    if (finder == nullptr)
        return 0;
    ReadyThreadSupport::ServeRequests(ReadyThreadSupport::AwaitWorker(finder->m_pWorker), finder->m_evWork.GetHandle(),
                                      [](void* p) { return static_cast<FindFileThread*>(p)->DoWork(); }, finder);
    return 0;
}

bool FindFileThread::DoWork()
{
    for (;;)
    {
        {
            MTAutoLock hold(m_pMutex);
            StoreFlag(m_bRestart, false);
            m_results.RemoveAll();
            if (m_strDir.IsEmpty())
                return true;
            // The search's own copy: DoFind may replace the request meanwhile.
            m_run.dir = m_strDir;
            m_run.matcher = FilePatternMatcher(m_specsA, m_specsB, m_bMatchOption);
            m_run.skipDirs = m_skipDirs;
            m_run.recurse = m_bRecurse;
            m_run.stopDirAtMatch = m_bStopDirAtMatch;
            m_run.plainRoot = !StringUtils::IsSpace(m_run.dir[0]);
        }
        if (!ThreadDoSearch())
            return false;
        if (!LoadFlag(m_bRestart))
            return true;
    }
}

bool FindFileThread::ThreadDoSearch()
{
    // DoFind checked the form; the directory may have gone since.
    if (!DirUtils::DoesDirExist(m_run.dir))
        return true;
    ThreadDoSearchImpl(m_run.dir);
    MTAutoLock hold(m_pMutex);
    // What a stopped search found stays in the results too.
    TellHeldLocked();
    if (ReadyThreadSupport::StopRequested(m_pWorker))
        return false;
    // The count plus 1 lies above the last index, so the owner tells the end from a result.
    const WPARAM end = static_cast<WPARAM>((m_results.GetCount() + 1) & 0xFFFF);
    ReadyThreadSupport::NotifyOwner(m_hWnd, m_nMsg, end, m_lParam, true);
    return true;
}

bool FindFileThread::NewRequestCame() const
{
    return LoadFlag(m_bRestart);
}

bool FindFileThread::MustLeave() const
{
    return ReadyThreadSupport::StopRequested(m_pWorker) || NewRequestCame();
}

void FindFileThread::Report(const CString& path)
{
    if (m_held.empty())
        m_nFirstHeldAt = ::GetTickCount64();
    m_held.push_back(path);
    if (m_held.size() >= HeldMatches)
        TellHeld();
}

void FindFileThread::TellWhenDue()
{
    if (!m_held.empty() && ::GetTickCount64() - m_nFirstHeldAt >= HeldMs)
        TellHeld();
}

void FindFileThread::TellHeld()
{
    if (m_held.empty())
        return;
    MTAutoLock hold(m_pMutex);
    TellHeldLocked();
}

void FindFileThread::TellHeldLocked()
{
    // A new request came after these were found: they go as if it had come first, so that a
    // cancel leaves no result behind and a replaced search ends with the count it told.
    if (!NewRequestCame())
    {
        for (const CString& path : m_held)
        {
            const unsigned long long index = m_results.Add(path);
            ReadyThreadSupport::NotifyOwner(m_hWnd, m_nMsg, static_cast<WPARAM>(index), m_lParam, true);
        }
    }
    m_held.clear();
}

void FindFileThread::ThreadDoSearchImpl(const CString& path)
{
    SearchDir(path, CodePageText::ToWide(path));
}

void FindFileThread::SearchDir(const CString& path, const std::wstring& widePath)
{
    if (path.Compare(m_run.dir) != 0 && m_run.matcher.Matches(path, false))
        Report(path);
    // The plain path bounds the search, as the narrow calls did: the wide calls take longer ones
    // where long paths are enabled.
    if (widePath.size() + 1 >= MAX_PATH)
        return;
    WIN32_FIND_DATAW entry;
    HANDLE find = ::FindFirstFileW((widePath + L"*").c_str(), &entry);
    if (find == INVALID_HANDLE_VALUE)
        return;
    // Each path given is made of its components' opening names; the walk goes by the wide ones.
    std::vector<std::pair<CString, std::wstring>> deferred;
    bool leftEarly = false;  // a stop, a new request, or a match that ends this directory
    CString name;
    do
    {
        if (MustLeave())
        {
            leftEarly = true;
            break;
        }
        TellWhenDue();
        if (m_nEntriesPerPause >= 1 && m_nEntriesSincePause >= m_nEntriesPerPause)
        {
            TellHeld();  // what was found goes out before the rest
            ::Sleep(25);
            m_nEntriesSincePause = 0;
        }
        // Without pauses nothing resets the count: it stops at its top instead of overflowing.
        if (m_nEntriesSincePause < INT_MAX)
            ++m_nEntriesSincePause;
        if (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        {
            if (!m_run.recurse || CodePageText::IsDots(entry.cFileName) || !OpeningName(entry, name))
                continue;
            CString sub = path + name;
            DirUtils::EnsureTrailingBackslash(sub);
            bool skipped;
            m_run.skipDirs.Find(sub, false, skipped);
            if (skipped)
                continue;
            std::wstring wideSub = widePath + entry.cFileName + L"\\";
            if (m_run.stopDirAtMatch)
                deferred.emplace_back(sub, std::move(wideSub));
            else
                SearchDir(sub, wideSub);
            continue;
        }
        if (!OpeningName(entry, name))
            continue;
        // A file's path is trimmed. With no blank at the root's front or the name's end the trim
        // takes nothing: the name is matched as it is and the path joined for a match alone.
        CString full;
        if (m_run.plainRoot && !StringUtils::IsSpace(name[name.GetLength() - 1]))
        {
            if (!m_run.matcher.Matches(path, name, true))
                continue;
            full = path + name;
        }
        else
        {
            full = StringUtils::Trim(path + name);
            if (!m_run.matcher.Matches(full, true))
                continue;
        }
        Report(full);
        if (m_run.stopDirAtMatch)
        {
            leftEarly = true;
            break;
        }
    } while (::FindNextFileW(find, &entry));
    if (!leftEarly)
    {
        // Deferred subdirectories (empty unless stopping at a match), the last met first.
        for (auto it = deferred.rbegin(); it != deferred.rend(); ++it)
            SearchDir(it->first, it->second);
    }
    ::FindClose(find);
}
