// Test access to a mailbox's derived kernel-object names, so that a test can hold the guard
// or look at a count from outside the class, as another process would.
#pragma once

#include "weftcore.h"

#include <string>

struct MTMailboxProbe
{
    static std::string GuardName(const char* mailboxName)
    {
        return Derived(&MTMailbox::CreateGuardMutexName, mailboxName);
    }
    static std::string FreeCountName(const char* mailboxName)
    {
        return Derived(&MTMailbox::CreateFreeCountSemaphoreName, mailboxName);
    }
    static std::string PendingCountName(const char* mailboxName)
    {
        return Derived(&MTMailbox::CreatePendingCountSemaphoreName, mailboxName);
    }

private:
    static std::string Derived(void (MTMailbox::*build)(char*, const char*) const, const char* mailboxName)
    {
        const MTMailbox inert(nullptr);  // opens no mapping, so makes no kernel object
        char output[MTMailbox::NameBufferSize] = {};
        (inert.*build)(output, mailboxName);
        return output;
    }
};
