// The coded name parts of a mailbox's kernel objects. The format puts a fixed prefix and the role
// in front of the mailbox name, so that the three derived names differ from each other and from
// the mailbox name, and every process derives the same ones.
#include "module/CodedTexts.h"

namespace CodedTexts
{
const std::vector<int> MailboxNameFormat = {0x1D2, 0x1D3, 0x1A1, 0x1AC, 0x18A, 0x195, 0x179, 0x179,
                                            0x103, 0x153, 0x12E, 0x109, 0x11D, 0x1E0, 0x1FC, 0x1DC,
                                            0x19B, 0x1E3, 0x1A4, 0x1C6, 0x1DC, 0x179};
const std::vector<int> MailboxGuardRole = {0x1C2, 0x1C3, 0x1A6, 0x1AA, 0x18D};
const std::vector<int> MailboxFreeCountRole = {0x1C3, 0x1C4, 0x1A2, 0x1BD};
const std::vector<int> MailboxPendingCountRole = {0x1D5, 0x1D3, 0x1A9, 0x1BC, 0x180, 0x194, 0x16C};
}  // namespace CodedTexts
