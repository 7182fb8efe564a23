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

class CObject;

// What the framework knows of a class at run time: its name, its base and, for a class that
// can be made dynamically, the function that makes one.
struct AFXLITE_API CRuntimeClass
{
    LPCSTR m_lpszClassName;
    int m_nObjectSize;
    UINT m_wSchema;
    CObject*(PASCAL* m_pfnCreateObject)();
    CRuntimeClass*(PASCAL* m_pfnGetBaseClass)();

    // A new object of the class; null if the class cannot be made dynamically.
    CObject* CreateObject();
    BOOL IsDerivedFrom(const CRuntimeClass* pBaseClass) const;
};

#define RUNTIME_CLASS(class_name) (class_name::GetThisClass())

#define DECLARE_DYNAMIC(class_name)                                  \
public:                                                              \
    static CRuntimeClass class##class_name;                          \
    static CRuntimeClass* PASCAL GetThisClass();                     \
    virtual CRuntimeClass* GetRuntimeClass() const;

#define DECLARE_DYNCREATE(class_name) \
    DECLARE_DYNAMIC(class_name)       \
    static CObject* PASCAL CreateObject();

#define IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, wSchema, pfnNew)                         \
    static CRuntimeClass* PASCAL class_name##BaseClass() { return RUNTIME_CLASS(base_class_name); } \
    CRuntimeClass class_name::class##class_name = {#class_name, sizeof(class class_name), wSchema,  \
                                                    pfnNew, &class_name##BaseClass};                 \
    CRuntimeClass* PASCAL class_name::GetThisClass() { return &class_name::class##class_name; }     \
    CRuntimeClass* class_name::GetRuntimeClass() const { return RUNTIME_CLASS(class_name); }

#define IMPLEMENT_DYNAMIC(class_name, base_class_name) \
    IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, 0xFFFF, nullptr)

#define IMPLEMENT_DYNCREATE(class_name, base_class_name)                     \
    CObject* PASCAL class_name::CreateObject() { return new class_name; }    \
    IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, 0xFFFF, class_name::CreateObject)

// The root of the framework's classes. Its class-specific operator new hides the global forms,
// as the framework's own does: a derived object is made with plain new, and a failed
// allocation throws a CMemoryException* rather than giving null.
class AFXLITE_API CObject
{
public:
    virtual CRuntimeClass* GetRuntimeClass() const;
    virtual ~CObject() = default;

    void* operator new(size_t nSize);
    void* operator new(size_t, void* p) { return p; }
    void operator delete(void* p);
    void operator delete(void*, void*) {}

    BOOL IsKindOf(const CRuntimeClass* pClass) const;

    static CRuntimeClass classCObject;
    static CRuntimeClass* PASCAL GetThisClass();

protected:
    CObject() = default;

public:
    CObject(const CObject&) = delete;
    CObject& operator=(const CObject&) = delete;
};

// The framework throws its exceptions by pointer; the catcher calls Delete, which frees an
// exception made for the throw and leaves a preallocated one alone.
class AFXLITE_API CException : public CObject
{
public:
    explicit CException(BOOL bAutoDelete = TRUE) : m_bAutoDelete(bAutoDelete) {}
    void Delete();

    BOOL m_bAutoDelete;
};

class AFXLITE_API CMemoryException : public CException
{
public:
    using CException::CException;
};

// Thrown when a system resource, such as a kernel object, cannot be had.
class AFXLITE_API CResourceException : public CException
{
public:
    using CException::CException;
};

[[noreturn]] AFXLITE_API void AFXAPI AfxThrowMemoryException();
[[noreturn]] AFXLITE_API void AFXAPI AfxThrowResourceException();
