// The framework thread that carries a worker. It does not delete itself, so its open thread
// handle outlives the thread and a stopper can wait on it after the thread has ended.
// Internal to the library.
#pragma once

#include <afxwin.h>

class CMTThread : public CWinThread
{
public:
    CMTThread(AFX_THREADPROC threadFunc, LPVOID param);
    ~CMTThread() override;
};
