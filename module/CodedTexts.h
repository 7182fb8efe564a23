// The library's fixed texts that are held in coded form; StringUtils::DecryptText gives each its
// text at the moment of use. Built at load, before any exported member runs.
#pragma once

#include "module/WeftCoreApi.h"

#include <vector>

namespace CodedTexts
{
// Mailbox kernel-object names: wsprintfA(out, MailboxNameFormat, role, mailbox name).
extern const std::vector<int> MailboxNameFormat;
extern const std::vector<int> MailboxGuardRole;
extern const std::vector<int> MailboxFreeCountRole;
extern const std::vector<int> MailboxPendingCountRole;
}  // namespace CodedTexts
