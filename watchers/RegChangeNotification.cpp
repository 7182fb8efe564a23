#include "watchers/RegChangeNotification.h"

RegChangeNotification::RegChangeNotification() : m_action(RegChange::None)
{
    m_datetime.SetToCurrent();
}

RegChangeNotification::RegChangeNotification(const RegChangeNotification& other)
    : m_action(other.m_action), m_datetime(other.m_datetime), m_strKey(other.m_strKey),
      m_strValueName(other.m_strValueName), m_strValue(other.m_strValue)
{
}

RegChangeNotification::~RegChangeNotification() = default;

RegChangeNotification& RegChangeNotification::operator=(const RegChangeNotification& other)
{
    if (this == &other)
        return *this;
    m_action = other.m_action;
    m_datetime = other.m_datetime;
    m_strKey = other.m_strKey;
    m_strValueName = other.m_strValueName;
    m_strValue = other.m_strValue;
    return *this;
}

bool RegChangeNotification::operator<(const RegChangeNotification& other) const
{
    return static_cast<int>(m_action) < static_cast<int>(other.m_action) && m_datetime < other.m_datetime &&
           m_strKey.Compare(other.m_strKey) < 0 && m_strValueName.Compare(other.m_strValueName) < 0 &&
           m_strValue.Compare(other.m_strValue) < 0;
}

bool RegChangeNotification::operator>(const RegChangeNotification& other) const
{
    return static_cast<int>(m_action) > static_cast<int>(other.m_action) && m_datetime > other.m_datetime &&
           m_strKey.Compare(other.m_strKey) > 0 && m_strValueName.Compare(other.m_strValueName) > 0 &&
           m_strValue.Compare(other.m_strValue) > 0;
}

bool RegChangeNotification::operator==(const RegChangeNotification& other) const
{
    return m_action == other.m_action && (m_datetime <=> other.m_datetime) == 0 &&
           m_strKey.Compare(other.m_strKey) == 0 && m_strValueName.Compare(other.m_strValueName) == 0 &&
           m_strValue.Compare(other.m_strValue) == 0;
}

void RegChangeNotification::SetAction(RegChange action)
{
    m_action = action;
}

RegChange RegChangeNotification::GetAction() const
{
    return m_action;
}

void RegChangeNotification::GetDatetime(DateTime& datetime) const
{
    datetime = m_datetime;
}

void RegChangeNotification::SetKey(const CString& key)
{
    m_strKey = key;
}

void RegChangeNotification::SetValueName(const CString& valueName)
{
    m_strValueName = valueName;
}

void RegChangeNotification::SetValue(const CString& value)
{
    m_strValue = value;
}

CString RegChangeNotification::GetKey() const
{
    return m_strKey;
}

CString RegChangeNotification::GetValueName() const
{
    return m_strValueName;
}

CString RegChangeNotification::GetValue() const
{
    return m_strValue;
}
