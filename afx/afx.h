// Framework core for builds without the application framework: CString and the basic types.
// A build against the real framework leaves this folder out; nothing else in the tree
// knows the difference.
#pragma once

#include <windows.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#ifdef AFXLITE_BUILD
#define AFXLITE_API __declspec(dllexport)
#else
#define AFXLITE_API __declspec(dllimport)
#endif

#ifndef AFX_CDECL
#define AFX_CDECL __cdecl
#endif
#ifndef AFXAPI
#define AFXAPI __stdcall
#endif

#include "afxstr.h"

// The root of the framework's classes. Its class-specific operator new hides the global forms,
// as the framework's own does: a derived object is made with plain new, and a failed
// allocation throws rather than giving null.
class AFXLITE_API CObject
{
public:
    virtual ~CObject() = default;

    void* operator new(size_t nSize);
    void* operator new(size_t, void* p) { return p; }
    void operator delete(void* p);
    void operator delete(void*, void*) {}

protected:
    CObject() = default;

public:
    CObject(const CObject&) = delete;
    CObject& operator=(const CObject&) = delete;
};
