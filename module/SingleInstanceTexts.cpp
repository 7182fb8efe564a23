// Coded text of the single-instance application.
#include "module/CodedTexts.h"

namespace CodedTexts
{
// Taken out of the instance name made from the module path, so that the name does not carry the extension.
const std::vector<int> SingleInstanceStripText = {
    0x18B, 0x1D3, 0x1BF, 0x1BD
};
}  // namespace CodedTexts
