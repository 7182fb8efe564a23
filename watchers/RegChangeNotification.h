// One difference that the registry monitor found between two pictures of a key tree, sent to
// the owner window by pointer. The handler reads it and deletes it:
//
//   case WM_APP + 7:
//   {
//       auto* change = reinterpret_cast<RegChangeNotification*>(lParam);
//       if (change->GetAction() == RegChange::ValueChanged)
//           Show(change->GetKey(), change->GetValueName(), change->GetValue());
//       delete change;
//       return 0;
//   }
//
// Which texts are filled depends on the action: KeyAdded and KeyRemoved fill the key alone;
// ValueAdded and ValueChanged the key, the value's name and its new text; ValueRemoved the key
// and the name. The old text of a changed value is not kept.
#pragma once

#include "module/WeftCoreApi.h"
#include "weftbase/DateTime.h"

#include <afx.h>

class WEFTCORE_API RegChangeNotification
{
public:
    // What a record tells: a signed 32-bit number, unscoped, so that RegChangeNotification::KeyAdded
    // names it and it compares with an int.
    enum RegChange : int
    {
        None = 0,
        KeyAdded = 1,
        KeyRemoved = 2,
        ValueAdded = 3,
        ValueRemoved = 4,
        ValueChanged = 5,
    };

    // Action None, empty texts, and the present moment as its time.
    RegChangeNotification();
    RegChangeNotification(const RegChangeNotification& other);
    ~RegChangeNotification();
    RegChangeNotification& operator=(const RegChangeNotification& other);

    // True only if every field, in declared order, is strictly less (greater) than the other
    // record's: the action as a signed number, the time, then the three texts by
    // CString::Compare. Not an ordering: records can be neither less, greater nor equal.
    bool operator<(const RegChangeNotification& other) const;
    bool operator>(const RegChangeNotification& other) const;
    // All five fields equal, the time to the second.
    bool operator==(const RegChangeNotification& other) const;

    void SetAction(RegChange action);
    RegChange GetAction() const;
    // When the record was made, after the picture that showed the change.
    void GetDatetime(DateTime& datetime) const;
    void SetKey(const CString& key);
    void SetValueName(const CString& valueName);
    void SetValue(const CString& value);
    CString GetKey() const;
    CString GetValueName() const;
    CString GetValue() const;

private:
    RegChange m_action;
    DateTime m_datetime;
    CString m_strKey;
    CString m_strValueName;
    CString m_strValue;
};

// RegChange::KeyAdded names the same value as RegChangeNotification::KeyAdded.
using RegChange = RegChangeNotification::RegChange;
