// The module entry: links the library into the framework's chain of extension modules.
#include <afxdllx.h>

#include <new>

namespace
{
AFX_EXTENSION_MODULE g_weftcoreModule = {};
}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE hInstance, DWORD reason, LPVOID /*reserved*/)
{
    switch (reason)
    {
    case DLL_PROCESS_ATTACH:
        if (!AfxInitExtensionModule(g_weftcoreModule, hInstance))
            return 0;
        // Owned by the framework from here on; a failed allocation still lets the load succeed.
        new (std::nothrow) CDynLinkLibrary(g_weftcoreModule, FALSE);
        return 1;
    case DLL_PROCESS_DETACH:
        AfxTermExtensionModule(g_weftcoreModule, FALSE);
        return 1;
    default:
        return 1;
    }
}
