// DrivesChangeThread: polls the drive list and tells its owner window of drives that come, go or
// change, with three registered messages (wParam: the drive letter).
//
//   DrivesChangeThread drives(hWnd, 2000, 7);
//   // every 2 s: MSG_DCT_DRIVEADDED, MSG_DCT_DRIVEREMOVED, MSG_DCT_DRIVECHANGED to hWnd, with
//   // wParam the drive's letter ('E') and lParam 7
//
// The message numbers are registered when the module loads, from fixed strings, so every process
// that loads the library (or registers those strings itself) gets the same numbers. They differ
// from run to run of the system: compare incoming messages with the members, never with constants.
//
// A pass lists the drives (VolumeUtils::GetDriveLetters) and builds a table keyed by volume GUID,
// with each volume's name and drive. The first pass, and any pass after one that found no drive,
// only fills the table. Later passes send, in this order: added for each listed drive that no
// record stands at; removed for each record whose drive is no longer listed; changed for each
// old record whose volume now has another drive or name, or whose drive now holds another
// volume. A volume moved to another letter gives added (new), removed (old), changed (old). A
// drive that comes and goes between two passes is not told.
//
// Message. SendNotifyMessageA(wnd, msg, letter, lParam) if wnd is a window and msg is not 0 (a
// failed registration); otherwise nothing is sent and the table still follows the drives.
//
// Threads. The owner's thread calls the members; only the thread touches the table. A pass that
// has begun runs to its end before a stop is seen. Stop(timeout) asks the thread to end and
// waits up to timeout ms; a thread still running then (inside a slow pass) is handed to
// TerminateThread. The destructor stops the same way but waits without limit.
#pragma once

#include "frame/MTWorkerThread.h"

#include <afx.h>

#include <map>

class WEFTCORE_API DrivesChangeThread
{
public:
    // RegisterWindowMessageA("C60CDF6F-582F-409F-9145-0F9756CF8FC8"); 0 if the registration failed.
    static const unsigned int MSG_DCT_DRIVEADDED;
    // RegisterWindowMessageA("FC416357-3DE0-47C5-9C8F-45DD07D2DDD0"); 0 if the registration failed.
    static const unsigned int MSG_DCT_DRIVECHANGED;
    // RegisterWindowMessageA("1AB91673-9DA1-4E7D-B57A-15EB23484FB7"); 0 if the registration failed.
    static const unsigned int MSG_DCT_DRIVEREMOVED;

    // One volume of the table: its name and the drive it was listed at ("E:\").
    struct DriveRecord
    {
        CString m_strName;
        CString m_strDrive;
    };
    // Keys in the order of CString::Compare, case included.
    struct KeyOrder
    {
        bool operator()(const CString& a, const CString& b) const { return a.Compare(b) < 0; }
    };
    using DriveTable = std::map<CString, DriveRecord, KeyOrder>;

    // A period of 0 polls every 15000 ms. Starts the thread; its first pass comes at once.
    DrivesChangeThread(HWND wnd, unsigned long period, __int64 lParam);
    DrivesChangeThread(const DrivesChangeThread&) = delete;
    DrivesChangeThread& operator=(const DrivesChangeThread&) = delete;
    // Stops the thread, waiting without limit, then frees the table.
    ~DrivesChangeThread();

    void SetPriority(int priority);
    // 0 without a thread.
    int GetPriority() const;
    // The bounded stop described above; a second call returns at once.
    void Stop(unsigned long timeout);

protected:
    // Worker thread: the guards, then the message with the drive's letter as wParam.
    void BroadcastMsg(unsigned int msg, char drive);
    // One polling pass.
    void DoWork();

    unsigned long m_nPeriod;
    HWND m_hWnd;
    __int64 m_lParam;
    MTWorkerThread* m_pWorker;
    DriveTable m_drives;

private:
    static unsigned int DrivesChangeThreadFunc(void* self);
};
