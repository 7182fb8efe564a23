#include "weftbase/SystemUtils.h"

CString SystemUtils::GetLastError(unsigned long code)
{
    const DWORD saved = ::GetLastError();
    if (code == 0)
        code = saved;
    char* buffer = nullptr;
    DWORD n = ::FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                               nullptr, code, 0, reinterpret_cast<char*>(&buffer), 0, nullptr);
    CString text;
    if (n)  // the system allocated the buffer
    {
        text = buffer;
        text.TrimRight(" \r\n\t.");
        text += '.';
        ::LocalFree(buffer);
    }
    else
        text.Format("Error %lu", code);
    ::SetLastError(saved);
    return text;
}
