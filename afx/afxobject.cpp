// The root class, run-time classes, allocation and the framework's exceptions.
#include "afx.h"

#include <new>

CRuntimeClass CObject::classCObject = {"CObject", sizeof(CObject), 0xFFFF, nullptr, nullptr};

CRuntimeClass* PASCAL CObject::GetThisClass()
{
    return &classCObject;
}

CRuntimeClass* CObject::GetRuntimeClass() const
{
    return &classCObject;
}

BOOL CObject::IsKindOf(const CRuntimeClass* pClass) const
{
    return GetRuntimeClass()->IsDerivedFrom(pClass);
}

CObject* CRuntimeClass::CreateObject()
{
    return m_pfnCreateObject ? m_pfnCreateObject() : nullptr;
}

BOOL CRuntimeClass::IsDerivedFrom(const CRuntimeClass* pBaseClass) const
{
    for (const CRuntimeClass* c = this; c; c = c->m_pfnGetBaseClass ? c->m_pfnGetBaseClass() : nullptr)
        if (c == pBaseClass)
            return TRUE;
    return FALSE;
}

void* CObject::operator new(size_t nSize)
{
    void* p = ::operator new(nSize, std::nothrow);
    if (!p)
        AfxThrowMemoryException();
    return p;
}

void CObject::operator delete(void* p)
{
    ::operator delete(p);
}

void CException::Delete()
{
    if (m_bAutoDelete)
        delete this;
}

// Preallocated, as the framework does: a failed allocation cannot allocate its exception.
void AFXAPI AfxThrowMemoryException()
{
    static CMemoryException s_memory(FALSE);
    throw &s_memory;
}

void AFXAPI AfxThrowResourceException()
{
    static CResourceException s_resource(FALSE);
    throw &s_resource;
}
