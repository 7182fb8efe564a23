// CWnd: window objects over handles, in per-thread maps.
#include "private/ThreadState.h"

BEGIN_MESSAGE_MAP(CWnd, CCmdTarget)
END_MESSAGE_MAP()

CWnd::~CWnd()
{
    if (m_hWnd)
        DestroyWindow();
}

BOOL CWnd::Attach(HWND hWndNew)
{
    if (!hWndNew)
        return FALSE;
    m_hWnd = hWndNew;
    AfxGetThreadState()->m_permanentMap[hWndNew] = this;
    return TRUE;
}

HWND CWnd::Detach()
{
    HWND hWnd = m_hWnd;
    if (hWnd)
    {
        auto& map = AfxGetThreadState()->m_permanentMap;
        auto it = map.find(hWnd);
        if (it != map.end() && it->second == this)
            map.erase(it);
    }
    m_hWnd = nullptr;
    return hWnd;
}

CWnd* PASCAL CWnd::FromHandlePermanent(HWND hWnd)
{
    if (!hWnd)
        return nullptr;
    auto& map = AfxGetThreadState()->m_permanentMap;
    auto it = map.find(hWnd);
    return it == map.end() ? nullptr : it->second;
}

CWnd* PASCAL CWnd::FromHandle(HWND hWnd)
{
    if (!hWnd)
        return nullptr;
    if (CWnd* permanent = FromHandlePermanent(hWnd))
        return permanent;
    CWnd*& temporary = AfxGetThreadState()->m_temporaryMap[hWnd];
    if (!temporary)
    {
        temporary = new CWnd;
        temporary->m_hWnd = hWnd;
    }
    return temporary;
}

BOOL CWnd::DestroyWindow()
{
    if (!m_hWnd)
        return FALSE;
    // Only an attached object owns its window; a temporary one lets go of the handle.
    const bool owned = FromHandlePermanent(m_hWnd) == this;
    const BOOL destroyed = owned ? ::DestroyWindow(m_hWnd) : FALSE;
    Detach();
    return destroyed;
}

void AFX_THREAD_STATE::FreeTemporaryMap()
{
    std::unordered_map<HWND, CWnd*> doomed;
    doomed.swap(m_temporaryMap);
    for (auto& entry : doomed)
    {
        entry.second->m_hWnd = nullptr;
        delete entry.second;
    }
}
