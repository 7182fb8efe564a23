#include "watchers/DrivesChangeThread.h"

#include "frame/ReadyThreadSupport.h"
#include "weftbase/DebugUtils.h"
#include "weftbase/TextArray.h"
#include "weftbase/VolumeUtils.h"

// Registered by the module's static initialisers, before the module entry runs.
const unsigned int DrivesChangeThread::MSG_DCT_DRIVEADDED =
    ::RegisterWindowMessageA("C60CDF6F-582F-409F-9145-0F9756CF8FC8");
const unsigned int DrivesChangeThread::MSG_DCT_DRIVECHANGED =
    ::RegisterWindowMessageA("FC416357-3DE0-47C5-9C8F-45DD07D2DDD0");
const unsigned int DrivesChangeThread::MSG_DCT_DRIVEREMOVED =
    ::RegisterWindowMessageA("1AB91673-9DA1-4E7D-B57A-15EB23484FB7");

namespace
{
constexpr unsigned long DefaultPeriod = 15000;

bool IsListed(const TextArray& drives, const CString& drive)
{
    for (unsigned long long i = 0; i < drives.GetCount(); ++i)
        if (drives.GetCopyAt(i).Compare(drive) == 0)
            return true;
    return false;
}

bool HasRecordAt(const DrivesChangeThread::DriveTable& table, const CString& drive)
{
    for (const auto& entry : table)
        if (entry.second.m_strDrive.Compare(drive) == 0)
            return true;
    return false;
}

// The comparison rule for one old record against the fresh table.
bool HasChanged(const DrivesChangeThread::DriveTable& fresh, const CString& key,
                const DrivesChangeThread::DriveRecord& old)
{
    const auto same = fresh.find(key);
    if (same != fresh.end())
        return same->second.m_strDrive.Compare(old.m_strDrive) != 0 ||
               same->second.m_strName.Compare(old.m_strName) != 0;
    // Another volume at the old drive has taken its place; a volume simply gone was told as removed.
    return HasRecordAt(fresh, old.m_strDrive);
}
}  // namespace

DrivesChangeThread::DrivesChangeThread(HWND wnd, unsigned long period, __int64 lParam)
    : m_nPeriod(period == 0 ? DefaultPeriod : period), m_hWnd(wnd), m_lParam(lParam), m_pWorker(nullptr)
{
    ReadyThreadSupport::StartWorker(m_pWorker, DrivesChangeThreadFunc, this);
}

DrivesChangeThread::~DrivesChangeThread()
{
    ReadyThreadSupport::DestroyWorker(m_pWorker);
    m_hWnd = nullptr;
}

void DrivesChangeThread::SetPriority(int priority)
{
    ReadyThreadSupport::SetPriority(m_pWorker, priority);
}

int DrivesChangeThread::GetPriority() const
{
    return ReadyThreadSupport::GetPriority(m_pWorker);
}

void DrivesChangeThread::Stop(unsigned long timeout)
{
    ReadyThreadSupport::StopWorker(m_pWorker, timeout);
}

void DrivesChangeThread::BroadcastMsg(unsigned int msg, char drive)
{
    // The letter is sign-extended, as a char widens.
    ReadyThreadSupport::NotifyOwner(m_hWnd, msg, static_cast<WPARAM>(static_cast<INT_PTR>(drive)), m_lParam, true);
}

unsigned int DrivesChangeThread::DrivesChangeThreadFunc(void* self)
{
    DrivesChangeThread* watcher = static_cast<DrivesChangeThread*>(self);
    if (watcher == nullptr)
        return 0;
    MTWorkerThread* worker = ReadyThreadSupport::AwaitWorker(watcher->m_pWorker);
    MTWaitableCollection waits;
    worker->AddStopEvent(&waits);
    do
        watcher->DoWork();
    while (waits.Wait(false, watcher->m_nPeriod) == WAIT_TIMEOUT);
    return 0;  // the stop, an abandoned or failed wait
}

void DrivesChangeThread::DoWork()
{
    TextArray drives;
    VolumeUtils::GetDriveLetters(drives);
    if (!m_drives.empty())
    {
        for (unsigned long long i = 0; i < drives.GetCount(); ++i)
        {
            const CString drive = drives.GetCopyAt(i);
            if (HasRecordAt(m_drives, drive))
                continue;
            DebugUtils::Trace(drive, "MSG_DCT_DRIVEADDED");
            BroadcastMsg(MSG_DCT_DRIVEADDED, drive.IsEmpty() ? '\0' : drive[0]);
        }
        for (const auto& entry : m_drives)
        {
            const CString& drive = entry.second.m_strDrive;
            if (IsListed(drives, drive))
                continue;
            DebugUtils::Trace(drive, "MSG_DCT_DRIVEREMOVED");
            BroadcastMsg(MSG_DCT_DRIVEREMOVED, drive.IsEmpty() ? '\0' : drive[0]);
        }
    }
    DriveTable fresh;
    for (unsigned long long i = 0; i < drives.GetCount(); ++i)
    {
        const CString drive = drives.GetCopyAt(i);
        const CString name = VolumeUtils::GetVolumeName(drive);
        fresh.emplace(VolumeUtils::GetVolumeGUID(drive), DriveRecord{name, drive});  // the first of a key stays
    }
    for (const auto& [key, old] : m_drives)
    {
        if (!HasChanged(fresh, key, old))
            continue;
        DebugUtils::Trace(old.m_strDrive, "MSG_DCT_DRIVECHANGED");
        BroadcastMsg(MSG_DCT_DRIVECHANGED, old.m_strDrive.IsEmpty() ? '\0' : old.m_strDrive[0]);
    }
    m_drives.swap(fresh);
}
