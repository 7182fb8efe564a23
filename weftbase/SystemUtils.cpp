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
    if (n != 0 && buffer != nullptr)
    {
        text = buffer;
        text.TrimRight(" \r\n\t.");
        text += '.';
    }
    else
        text.Format("Error %lu", code);
    if (buffer != nullptr)
        ::LocalFree(buffer);
    ::SetLastError(saved);
    return text;
}
