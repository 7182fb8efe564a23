// Shared memory: a named block that every process opening the same name sees. It has no lock
// of its own; the users bring one (here a named mutex).
#include "weftcore.h"

#include <cstdio>
#include <cstring>
#include <string>

int main()
{
    const std::string name = "weft-snippet-block-" + std::to_string(GetCurrentProcessId());
    MTSharedMemory block(4096, name.c_str(), nullptr);  // status 0: created (zeroed); 183: joined
    MTMutex guard(false, (name + "-guard").c_str());
    char* bytes = static_cast<char*>(block.GetPtr());
    if (bytes == nullptr)
        return 1;  // block.GetStatus() tells why
    {
        MTAutoLock hold(&guard);
        std::strcpy(bytes, "written by the creator");
    }

    // Another process would do this: open by name, then read under the same guard.
    MTSharedMemory view(name.c_str());
    MTMutex sameGuard(false, (name + "-guard").c_str());
    if (view.GetPtr() == nullptr)
        return 1;
    MTAutoLock hold(&sameGuard);
    std::printf("creator %s, opener reads \"%s\"\n", block.IsCreator() ? "yes" : "no",
                static_cast<const char*>(view.GetPtr()));
    return 0;
}
