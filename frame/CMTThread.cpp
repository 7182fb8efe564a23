#include "frame/CMTThread.h"

CMTThread::CMTThread(AFX_THREADPROC threadFunc, LPVOID param) : CWinThread(threadFunc, param)
{
    m_bAutoDelete = FALSE;
}

CMTThread::~CMTThread() = default;
