// The shared constant texts of the library's code, built at load.
#pragma once

#include "module/WeftCoreApi.h"

#include <afx.h>

namespace TextConstants
{
// The mask of a directory walk that lists every entry.
extern WEFTCORE_API const CString AllFilesMask;
// The empty text, for arguments that take a text by reference.
extern WEFTCORE_API const CString EmptyText;
}  // namespace TextConstants
