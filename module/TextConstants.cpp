#include "module/TextConstants.h"

namespace TextConstants
{
const CString AllFilesMask("*.*");
const CString EmptyText;
}  // namespace TextConstants
