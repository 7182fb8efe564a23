#include "watchers/FSChangeNotification.h"

FSChangeNotification::FSChangeNotification() : m_action(0)
{
    m_datetime.SetToCurrent();
}

FSChangeNotification::FSChangeNotification(const FSChangeNotification& other)
    : m_action(other.m_action), m_datetime(other.m_datetime), m_strPath(other.m_strPath)
{
}

FSChangeNotification::~FSChangeNotification() = default;

FSChangeNotification& FSChangeNotification::operator=(const FSChangeNotification& other)
{
    if (this == &other)
        return *this;
    m_action = other.m_action;
    m_datetime = other.m_datetime;
    m_strPath = other.m_strPath;
    return *this;
}

bool FSChangeNotification::operator<(const FSChangeNotification& other) const
{
    return m_datetime < other.m_datetime && m_strPath.Compare(other.m_strPath) < 0;
}

bool FSChangeNotification::operator>(const FSChangeNotification& other) const
{
    return m_datetime > other.m_datetime && m_strPath.Compare(other.m_strPath) > 0;
}

bool FSChangeNotification::operator==(const FSChangeNotification& other) const
{
    return m_action == other.m_action && (m_datetime <=> other.m_datetime) == 0 &&
           m_strPath.Compare(other.m_strPath) == 0;
}

void FSChangeNotification::SetAction(unsigned long action)
{
    m_action = action;
}

unsigned long FSChangeNotification::GetAction() const
{
    return m_action;
}

void FSChangeNotification::GetDatetime(DateTime& datetime) const
{
    datetime = m_datetime;
}

void FSChangeNotification::SetPath(const CString& path)
{
    m_strPath = path;
}

CString FSChangeNotification::GetPath() const
{
    return m_strPath;
}
