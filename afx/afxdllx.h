// Extension-module entry support for builds without the application framework.
#pragma once

#include "afxwin.h"

struct AFX_EXTENSION_MODULE
{
    BOOL bInitialized;
    HMODULE hModule;
    HMODULE hResource;
    void* pFirstSharedClass;
    void* pFirstSharedFactory;
};

// One link in the framework's chain of extension modules. Owned by the framework once made.
class AFXLITE_API CDynLinkLibrary
{
public:
    explicit CDynLinkLibrary(AFX_EXTENSION_MODULE& state, BOOL bSystem = FALSE);
    virtual ~CDynLinkLibrary();

    CDynLinkLibrary(const CDynLinkLibrary&) = delete;
    CDynLinkLibrary& operator=(const CDynLinkLibrary&) = delete;

    HMODULE m_hModule;
    HMODULE m_hResource;
    BOOL m_bSystem;
    CDynLinkLibrary* m_pNextDLL = nullptr;
};

AFXLITE_API BOOL AFXAPI AfxInitExtensionModule(AFX_EXTENSION_MODULE& state, HMODULE hModule);
// Takes the module's links out of the chain and deletes them.
AFXLITE_API void AFXAPI AfxTermExtensionModule(AFX_EXTENSION_MODULE& state, BOOL bAll = FALSE);
