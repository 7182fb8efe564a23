// System error texts.
#pragma once

#include "weftbase/WeftBaseApi.h"

#include <afx.h>

class WEFTBASE_API SystemUtils
{
public:
    // The system's message text for an error code, without the trailing line break;
    // code 0 means the calling thread's last error. An unknown code gives "Error <code>".
    // The thread's last error is left as it was.
    static CString GetLastError(unsigned long code = 0);
};
