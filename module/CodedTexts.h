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

// Registry monitor (module/RegMonitorTexts.cpp).
// The whole error text when the monitor refuses its root or key.
extern WEFTCORE_API const std::vector<int> RegBadKeyText;
// What a key path below HKEY_LOCAL_MACHINE must begin with, case-sensitively ("SOFTWARE\").
extern WEFTCORE_API const std::vector<int> RegLocalMachinePrefix;
// Stands directly in front of a system error text; ends in ": ".
extern WEFTCORE_API const std::vector<int> RegErrorLeadText;

// Shell launcher (module/ShellLaunchTexts.cpp).
// The error text when the file to launch is empty or blank.
extern WEFTCORE_API const std::vector<int> ShellEmptyFileText;
// The one extension whose files get the argument, in the form FileUtils::GetFileExt gives ("exe").
extern WEFTCORE_API const std::vector<int> ShellArgumentExtension;
// Stands directly in front of the file whose launch ran out of time; ends in ": ".
extern WEFTCORE_API const std::vector<int> ShellTimeoutLeadText;

// Single-instance application (module/SingleInstanceTexts.cpp).
// Removed from the instance name made from the module path (".exe"); what remains is never empty.
extern WEFTCORE_API const std::vector<int> SingleInstanceStripText;
}  // namespace CodedTexts
