// The allocation of framework objects.
#include "afx.h"

#include <new>

void* CObject::operator new(size_t nSize)
{
    return ::operator new(nSize);
}

void CObject::operator delete(void* p)
{
    ::operator delete(p);
}
