#include "weftbase/ExeUtils.h"

#include "weftbase/StringUtils.h"
#include "weftbase/SystemUtils.h"

#include <shellapi.h>

namespace
{
const char* Verb(int command)
{
    switch (command)
    {
    case ExeUtils::Open:
        return "open";
    case ExeUtils::Edit:
        return "edit";
    case ExeUtils::Explore:
        return "explore";
    case ExeUtils::Print:
        return "print";
    case ExeUtils::RunAs:
        return "runas";
    default:
        return nullptr;
    }
}

const char* OrNull(const char* text)
{
    return text && *text ? text : nullptr;
}
}  // namespace

bool ExeUtils::ShellLaunchApp(const char* file, const char* dir, const char* params, bool quiet, int command,
                              int show, CString& error, HWND parent)
{
    error.Empty();
    if (StringUtils::IsEffectivelyEmpty(file))
    {
        error = SystemUtils::GetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    SHELLEXECUTEINFOA info = {};
    info.cbSize = sizeof info;
    // NOASYNC: the launch is complete when the call returns, so the calling thread may end at once.
    info.fMask = SEE_MASK_NOASYNC | (quiet ? SEE_MASK_FLAG_NO_UI : 0);
    info.hwnd = parent;
    info.lpVerb = Verb(command);
    info.lpFile = file;
    info.lpParameters = OrNull(params);
    info.lpDirectory = OrNull(dir);
    info.nShow = show;
    if (::ShellExecuteExA(&info))
        return true;
    DWORD code = ::GetLastError();
    if (code == 0)
        code = ERROR_FILE_NOT_FOUND;
    error = SystemUtils::GetLastError(code);
    ::SetLastError(code);
    return false;
}
