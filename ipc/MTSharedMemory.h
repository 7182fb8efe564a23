// A named block of memory in the system paging file, mapped into this process. Several
// processes that use the same name see the same bytes. The block has no layout and no lock:
// whoever shares it brings its own guard (MTMailbox holds one for its ring).
//
//   MTSharedMemory block(4096, "my-block", nullptr);
//   if (block.GetPtr() != nullptr) { ... }        // status 0: created, 183: joined
//
// Nothing here throws. A failed create or open leaves a living object whose GetPtr() is null
// and whose GetStatus() holds the reason; the destructor is then harmless.
#pragma once

#include "module/WeftCoreApi.h"

class WEFTCORE_API MTSharedMemory
{
public:
    // Creates the named block of `size` bytes, or joins it if the name exists. Status 0 for a new
    // block, which reads as zero; 183 (ERROR_ALREADY_EXISTS) for an existing one, whose view is
    // there and keeps the size of its first creator, whatever size is asked here. Otherwise the
    // system error of the mapping or the view: a size of 0, for one. A null or empty name makes
    // an unnamed block that only this object sees (status 0, IsCreator true). The size is taken
    // as 32 bits unsigned.
    MTSharedMemory(long size, const char* name, _SECURITY_ATTRIBUTES* attributes);
    // Opens an existing block with all access. Status 0, or the system error (2 for a name that
    // does not exist). IsCreator() stays false.
    explicit MTSharedMemory(const char* name);
    // Member-wise: no second mapping or view is made, and assignment does not release what the
    // target held. Only one of the copies may be destroyed.
    MTSharedMemory(const MTSharedMemory&) = default;
    MTSharedMemory& operator=(const MTSharedMemory&) = default;
    // Unmaps the view and closes the mapping. The block lives on while another holder has it.
    virtual ~MTSharedMemory();

    // Base of the view, or null after a failure. An opener is not told the size of the block.
    void* GetPtr();
    // 0, 183 after joining an existing block, or the system error of the step that failed.
    unsigned long GetStatus() const;
    // True if this object brought the named mapping into being.
    bool IsCreator() const;

private:
    void MapWholeView();

    bool m_bCreator;
    void* m_hMapping;
    unsigned long m_status;
    void* m_pView;
};
