// The module entry: links the library into the framework's chain of extension modules.
//
// By the time the entry runs for process attach, the run-time's start-up has built the module's
// static objects: the text constants, the four registered window messages and the coded text
// tables. None of them depends on another, and no exported member runs before they are done.
// At process detach the entry unlinks the module first; the run-time destroys the static
// objects after the entry has returned.
#include <afxdllx.h>

#include <new>

namespace
{
// The module's record for the framework; zero until AfxInitExtensionModule fills it.
AFX_EXTENSION_MODULE g_weftcoreModule = {};
}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE hInstance, DWORD reason, LPVOID /*reserved*/)
{
    switch (reason)
    {
    case DLL_PROCESS_ATTACH:
        // The only way the load fails: the framework cannot take the module.
        if (!AfxInitExtensionModule(g_weftcoreModule, hInstance))
            return FALSE;
        // Owned by the framework from here on; a failed allocation still lets the load succeed.
        new (std::nothrow) CDynLinkLibrary(g_weftcoreModule, FALSE);
        return TRUE;
    case DLL_PROCESS_DETACH:
        AfxTermExtensionModule(g_weftcoreModule, FALSE);
        return TRUE;
    default:
        // Thread attach and detach: the module keeps no per-thread data.
        return TRUE;
    }
}
