// The framework's process-wide state lives here, in one module, with the slots of each
// thread's own state.
#include "afxdllx.h"
#include "private/ThreadState.h"

namespace
{
DWORD g_threadSlot = TLS_OUT_OF_INDEXES;
DWORD g_threadStateSlot = TLS_OUT_OF_INDEXES;

struct ModuleState : AFX_MODULE_STATE
{
    ModuleState() { InitializeCriticalSection(&m_lockLibraries); }
    ~ModuleState() { DeleteCriticalSection(&m_lockLibraries); }
};

ModuleState g_moduleState;
}  // namespace

AFX_MODULE_STATE* AFXAPI AfxGetModuleState()
{
    return &g_moduleState;
}

CWinThread* AFXAPI AfxGetThread()
{
    return static_cast<CWinThread*>(::TlsGetValue(g_threadSlot));
}

void AfxSetThread(CWinThread* thread)
{
    ::TlsSetValue(g_threadSlot, thread);
}

AFX_THREAD_STATE* AfxGetThreadState(bool create)
{
    auto* state = static_cast<AFX_THREAD_STATE*>(::TlsGetValue(g_threadStateSlot));
    if (!state && create)
    {
        state = new AFX_THREAD_STATE;
        ::TlsSetValue(g_threadStateSlot, state);
    }
    return state;
}

namespace
{
void FreeThreadState()
{
    if (g_threadStateSlot == TLS_OUT_OF_INDEXES)
        return;
    if (auto* state = static_cast<AFX_THREAD_STATE*>(::TlsGetValue(g_threadStateSlot)))
    {
        state->FreeTemporaryMap();
        delete state;
        ::TlsSetValue(g_threadStateSlot, nullptr);
    }
}
}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE /*hInstance*/, DWORD reason, LPVOID reserved)
{
    switch (reason)
    {
    case DLL_PROCESS_ATTACH:
        g_threadSlot = ::TlsAlloc();
        g_threadStateSlot = ::TlsAlloc();
        return g_threadSlot != TLS_OUT_OF_INDEXES && g_threadStateSlot != TLS_OUT_OF_INDEXES;
    case DLL_THREAD_DETACH:
        FreeThreadState();
        break;
    case DLL_PROCESS_DETACH:
        // At the end of the process the other threads are gone, perhaps holding the heap: nothing
        // is freed then. On an unload, the calling thread's state goes with the slots.
        if (reserved)
            break;
        FreeThreadState();
        ::TlsFree(g_threadSlot);
        ::TlsFree(g_threadStateSlot);
        break;
    }
    return TRUE;
}

BOOL AFXAPI AfxInitExtensionModule(AFX_EXTENSION_MODULE& state, HMODULE hModule)
{
    if (!hModule)
        return FALSE;
    if (!state.bInitialized)
    {
        state.hModule = hModule;
        state.hResource = hModule;
        state.bInitialized = TRUE;
    }
    return TRUE;
}

void AFXAPI AfxTermExtensionModule(AFX_EXTENSION_MODULE& state, BOOL /*bAll*/)
{
    if (!state.bInitialized)
        return;
    AFX_MODULE_STATE* ms = AfxGetModuleState();
    CDynLinkLibrary* doomed = nullptr;
    EnterCriticalSection(&ms->m_lockLibraries);
    for (CDynLinkLibrary** link = &ms->m_pFirstLibrary; *link;)
    {
        CDynLinkLibrary* lib = *link;
        if (lib->m_hModule == state.hModule)
        {
            *link = lib->m_pNextDLL;
            lib->m_pNextDLL = doomed;
            doomed = lib;
        }
        else
            link = &lib->m_pNextDLL;
    }
    LeaveCriticalSection(&ms->m_lockLibraries);
    while (doomed)
    {
        CDynLinkLibrary* next = doomed->m_pNextDLL;
        doomed->m_pNextDLL = nullptr;
        delete doomed;
        doomed = next;
    }
    state.bInitialized = FALSE;
}

CDynLinkLibrary::CDynLinkLibrary(AFX_EXTENSION_MODULE& state, BOOL bSystem)
    : m_hModule(state.hModule), m_hResource(state.hResource), m_bSystem(bSystem)
{
    AFX_MODULE_STATE* ms = AfxGetModuleState();
    EnterCriticalSection(&ms->m_lockLibraries);
    m_pNextDLL = ms->m_pFirstLibrary;
    ms->m_pFirstLibrary = this;
    LeaveCriticalSection(&ms->m_lockLibraries);
}

CDynLinkLibrary::~CDynLinkLibrary()
{
    // Unlinks itself if still in the chain (deleted by its owner rather than by AfxTermExtensionModule).
    AFX_MODULE_STATE* ms = AfxGetModuleState();
    EnterCriticalSection(&ms->m_lockLibraries);
    for (CDynLinkLibrary** link = &ms->m_pFirstLibrary; *link; link = &(*link)->m_pNextDLL)
        if (*link == this)
        {
            *link = m_pNextDLL;
            break;
        }
    LeaveCriticalSection(&ms->m_lockLibraries);
}
