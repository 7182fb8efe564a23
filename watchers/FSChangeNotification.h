// One change that the file-system change monitor read, sent to the owner window by pointer. The
// handler reads it and deletes it:
//
//   case WM_APP + 9:
//   {
//       auto* change = reinterpret_cast<FSChangeNotification*>(lParam);
//       if (change->GetAction() == FILE_ACTION_RENAMED_NEW_NAME)
//           Show(change->GetPath());
//       delete change;
//       return 0;
//   }
//
// The action is the system's own number, unchanged: FILE_ACTION_ADDED 1, REMOVED 2, MODIFIED 3,
// RENAMED_OLD_NAME 4, RENAMED_NEW_NAME 5. 0 is only the default of a new record. The path is
// the full path of what changed, narrow, in the system's code page.
#pragma once

#include "module/WeftCoreApi.h"
#include "weftbase/DateTime.h"

#include <afx.h>

class WEFTCORE_API FSChangeNotification
{
public:
    // Action 0, the empty path, and the present moment as its time.
    FSChangeNotification();
    FSChangeNotification(const FSChangeNotification& other);
    ~FSChangeNotification();
    FSChangeNotification& operator=(const FSChangeNotification& other);

    // True only if the time is strictly less (greater) and the path strictly less (greater) by
    // CString::Compare; the action takes no part. Not an ordering: two records can be neither
    // less, nor greater, nor equal.
    bool operator<(const FSChangeNotification& other) const;
    bool operator>(const FSChangeNotification& other) const;
    // Action, time (to the second) and path all equal.
    bool operator==(const FSChangeNotification& other) const;

    void SetAction(unsigned long action);
    unsigned long GetAction() const;
    // When the record was made: when the monitor read the change, not when it happened.
    void GetDatetime(DateTime& datetime) const;
    void SetPath(const CString& path);
    CString GetPath() const;

private:
    unsigned long m_action;
    DateTime m_datetime;
    CString m_strPath;
};
