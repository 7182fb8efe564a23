#include "jobs/DirSummaryThread.h"

#include "frame/ReadyThreadSupport.h"
#include "locks/MTAutoLock.h"
#include "weftbase/CodePageText.h"
#include "weftbase/DirUtils.h"
#include "weftbase/LocaleUtils.h"
#include "weftbase/NumberTextConv.h"
#include "weftbase/VolumeUtils.h"

#include <atomic>
#include <cmath>

namespace
{
// The running values and the restart flag are read without the mutex while another thread may
// write them, so every access is whole.
template <class T>
T LoadWhole(const T& field)
{
    return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_relaxed);
}

template <class T>
void StoreWhole(T& field, T value)
{
    std::atomic_ref<T>(field).store(value, std::memory_order_relaxed);
}

bool IsUsableDir(const char* dir)
{
    return DirUtils::IsDir(dir, true) && DirUtils::DoesDirExist(dir);
}
}  // namespace

DirSummaryThread::DirSummaryThread(const CString& dir, unsigned int msg, HWND wnd, unsigned __int64 wParam,
                                   __int64 lParam)
    : m_bGathering(false), m_nFractionDigits(LocaleUtils::GetNumberFractionalDigits()), m_nMsg(msg),
      m_nFileCount(0), m_nDirBytes(0), m_hWnd(wnd), m_wParam(wParam), m_lParam(lParam), m_pWorker(nullptr),
      m_pMutex(nullptr), m_strDir(dir)
{
    if (!IsUsableDir(m_strDir))
    {
        m_strDir.Empty();
        return;
    }
    DirUtils::EnsureTrailingBackslash(m_strDir);
    m_pMutex = new MTMutex(false, "wl_dst_mutex", nullptr);
    ReadyThreadSupport::StartWorker(m_pWorker, DirSummaryThreadFunc, this);
}

DirSummaryThread::~DirSummaryThread()
{
    ReadyThreadSupport::DestroyWorker(m_pWorker);
    delete m_pMutex;
    m_pMutex = nullptr;
}

void DirSummaryThread::SetPriority(int priority)
{
    ReadyThreadSupport::SetPriority(m_pWorker, priority);
}

int DirSummaryThread::GetPriority()
{
    return ReadyThreadSupport::GetPriority(m_pWorker);
}

void DirSummaryThread::SetDir(const CString& dir)
{
    {
        MTAutoLock hold(m_pMutex);
        if (m_strDir.CompareNoCase(dir) == 0)
            return;
        StoreWhole(m_bRestart, true);
        ResetResults();
        if (!IsUsableDir(dir))
        {
            // m_bRestart stays set, so that a running walk gives way.
            m_bGathering = false;
            m_strDir.Empty();
            return;
        }
        m_strDir = dir;
        DirUtils::EnsureTrailingBackslash(m_strDir);
    }
    m_evWork.Set();
}

void DirSummaryThread::GatherInfo()
{
    m_evWork.Set();
}

void DirSummaryThread::Stop(unsigned long timeout)
{
    ReadyThreadSupport::StopWorker(m_pWorker, timeout);
}

void DirSummaryThread::ResetResults()
{
    m_bGathering = true;
    StoreWhole(m_nFileCount, 0ULL);
    m_strDriveTotal.Empty();
    m_strDriveFree.Empty();
    m_strDriveFreePercent.Empty();
    m_strDirUses.Empty();
    m_strDirUsesPercent.Empty();
    StoreWhole(m_newest, DateTime());
    StoreWhole(m_oldest, DateTime());
}

unsigned int DirSummaryThread::DirSummaryThreadFunc(void* self)
{
    DirSummaryThread* summary = static_cast<DirSummaryThread*>(self);
    if (summary == nullptr)
        return 0;
    ReadyThreadSupport::ServeRequests(ReadyThreadSupport::AwaitWorker(summary->m_pWorker),
                                      summary->m_evWork.GetHandle(),
                                      [](void* p) { return static_cast<DirSummaryThread*>(p)->DoWork(); },
                                      summary);
    return 0;
}

bool DirSummaryThread::DoWork()
{
    for (;;)
    {
        {
            MTAutoLock hold(m_pMutex);
            StoreWhole(m_bRestart, false);
            ResetResults();
            if (m_strDir.IsEmpty())
            {
                m_bGathering = false;
                return true;
            }
            m_strRunDir = m_strDir;  // the run's own copy: SetDir may replace m_strDir meanwhile
        }
        if (!DoAnalysis())
            return false;
        if (!LoadWhole(m_bRestart))
            return true;
    }
}

bool DirSummaryThread::MustLeave() const
{
    return ReadyThreadSupport::StopRequested(m_pWorker) || LoadWhole(m_bRestart);
}

DirSummaryThread::Step DirSummaryThread::Checkpoint()
{
    MTAutoLock hold(m_pMutex);
    if (!MustLeave())
        return Step::Go;
    m_bGathering = false;
    return ReadyThreadSupport::StopRequested(m_pWorker) ? Step::Stop : Step::GiveWay;
}

bool DirSummaryThread::DoAnalysis()
{
    if (!IsUsableDir(m_strRunDir))
    {
        MTAutoLock hold(m_pMutex);
        m_bGathering = false;
        return true;
    }
    StoreWhole(m_oldest, DateTime());
    StoreWhole(m_newest, DateTime());
    StoreWhole(m_nFileCount, 0ULL);
    StoreWhole(m_nDirBytes, 0ULL);
    DoDirAnalysisImpl(m_strRunDir);
    if (const Step step = Checkpoint(); step != Step::Go)
        return step == Step::GiveWay;
    unsigned long long total, free;
    double freePercent;
    VolumeUtils::GetDriveSpaceInfo(m_strRunDir, total, free, freePercent);
    if (const Step step = Checkpoint(); step != Step::Go)
        return step == Step::GiveWay;

    const CString driveTotal = NumberTextConv::ConvertBytesToString(total);
    const CString driveFree = NumberTextConv::ConvertBytesToString(free);
    const CString driveFreePercent = PercentText(freePercent);
    const CString dirUses = NumberTextConv::ConvertBytesToString(m_nDirBytes);
    CString dirUsesPercent;
    if (total != 0)
    {
        // Cut, not rounded, to the decimals shown.
        const double p = std::pow(10.0, m_nFractionDigits);
        const unsigned long long q = static_cast<unsigned long long>(p) * m_nDirBytes * 100 / total;
        dirUsesPercent = PercentText(static_cast<double>(q) / p);
    }
    {
        MTAutoLock hold(m_pMutex);
        m_strDriveTotal = driveTotal;
        m_strDriveFree = driveFree;
        m_strDriveFreePercent = driveFreePercent;
        m_strDirUses = dirUses;
        m_strDirUsesPercent = dirUsesPercent;
        m_bGathering = false;
        if (ReadyThreadSupport::StopRequested(m_pWorker))
            return false;
        if (LoadWhole(m_bRestart))
            return true;
    }
    ReadyThreadSupport::NotifyOwner(m_hWnd, m_nMsg, m_wParam, m_lParam, true);
    return true;
}

CString DirSummaryThread::PercentText(double value) const
{
    return NumberTextConv::DoubleToString(value, m_nFractionDigits, false, 0, "", false) + "%";
}

void DirSummaryThread::DoDirAnalysisImpl(const CString& path)
{
    WalkDir(CodePageText::ToWide(path));
}

void DirSummaryThread::WalkDir(const std::wstring& path)
{
    // The plain path bounds the walk, as the narrow calls did: the wide calls take longer ones
    // where long paths are enabled.
    if (path.size() + 1 >= MAX_PATH)
        return;
    WIN32_FIND_DATAW entry;
    HANDLE find = ::FindFirstFileW((path + L"*").c_str(), &entry);
    if (find == INVALID_HANDLE_VALUE)
        return;
    do
    {
        if (MustLeave())
            break;
        if (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        {
            // Only the real dots: a name of two fullwidth full stops is a directory like any other.
            if (!CodePageText::IsDots(entry.cFileName))
                WalkDir(path + entry.cFileName + L"\\");
            continue;
        }
        StoreWhole(m_nFileCount, LoadWhole(m_nFileCount) + 1);
        DateTime written;
        written.Set(entry.ftLastWriteTime);
        if (written.IsValid())
        {
            const DateTime oldest = LoadWhole(m_oldest), newest = LoadWhole(m_newest);
            if (!oldest.IsValid() || written < oldest)
                StoreWhole(m_oldest, written);
            if (!newest.IsValid() || written > newest)
                StoreWhole(m_newest, written);
        }
        StoreWhole(m_nDirBytes, LoadWhole(m_nDirBytes) + ((static_cast<unsigned long long>(entry.nFileSizeHigh) << 32) |
                                               entry.nFileSizeLow));
    } while (::FindNextFileW(find, &entry));
    ::FindClose(find);
}

CString DirSummaryThread::Locked(const CString& text) const
{
    MTAutoLock hold(m_pMutex);
    return text;
}

bool DirSummaryThread::IsGatheringInfo() const
{
    MTAutoLock hold(m_pMutex);
    return m_bGathering;
}

unsigned __int64 DirSummaryThread::GetFileCount() const
{
    return LoadWhole(m_nFileCount);
}

unsigned __int64 DirSummaryThread::GetDirUsesSpaceValue() const
{
    return LoadWhole(m_nDirBytes);
}

DateTime DirSummaryThread::GetNewestFileDate() const
{
    return LoadWhole(m_newest);
}

DateTime DirSummaryThread::GetOldestFileDate() const
{
    return LoadWhole(m_oldest);
}

CString DirSummaryThread::GetDriveTotalSpace() const
{
    return Locked(m_strDriveTotal);
}

CString DirSummaryThread::GetDriveFreeSpace() const
{
    return Locked(m_strDriveFree);
}

CString DirSummaryThread::GetDriveFreeSpacePercent() const
{
    return Locked(m_strDriveFreePercent);
}

CString DirSummaryThread::GetDirUsesSpace() const
{
    return Locked(m_strDirUses);
}

CString DirSummaryThread::GetDirUsesSpacePercent() const
{
    return Locked(m_strDirUsesPercent);
}
