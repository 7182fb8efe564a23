// Per-thread framework state, internal to the framework module.
#pragma once

#include "afxwin.h"

#include <unordered_map>

struct AFX_THREAD_STATE
{
    CWinThread* m_pCurrentWinThread = nullptr;
    // Window objects by handle: those attached on this thread, and the temporary ones that
    // FromHandle made and OnIdle frees.
    std::unordered_map<HWND, CWnd*> m_permanentMap;
    std::unordered_map<HWND, CWnd*> m_temporaryMap;

    // Detaches and deletes the temporary window objects.
    void FreeTemporaryMap();
};

// The calling thread's state, made at first use and freed when the thread ends.
AFX_THREAD_STATE* AfxGetThreadState();
