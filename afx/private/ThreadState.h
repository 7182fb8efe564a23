// Per-thread state of the stand-in, internal to its module and not installed: the real framework
// keeps its own.
#pragma once

#include "../afxwin.h"

#include <unordered_map>

// The window maps of a thread that works with window objects. Made at first use only, so that
// a thread that never touches a window object allocates nothing here, at its start or its end.
struct AFX_THREAD_STATE
{
    // Window objects by handle: those attached on this thread, and the temporary ones that
    // FromHandle made and OnIdle frees.
    std::unordered_map<HWND, CWnd*> m_permanentMap;
    std::unordered_map<HWND, CWnd*> m_temporaryMap;

    // Detaches and deletes the temporary window objects.
    void FreeTemporaryMap();
};

// The calling thread's state, made at first use (null without create if there is none yet) and
// freed when the thread ends.
AFX_THREAD_STATE* AfxGetThreadState(bool create = true);
// Sets the calling thread's thread object, which AfxGetThread gives.
void AfxSetThread(CWinThread* thread);
