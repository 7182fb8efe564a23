#include "locks/MTCritSec.h"

MTCritSec::MTCritSec()
{
    ::InitializeCriticalSection(&m_section);
}

MTCritSec::~MTCritSec()
{
    ::DeleteCriticalSection(&m_section);
}

void MTCritSec::Enter()
{
    ::EnterCriticalSection(&m_section);
}

void MTCritSec::Leave()
{
    ::LeaveCriticalSection(&m_section);
}
