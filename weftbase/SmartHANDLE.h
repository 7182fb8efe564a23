// Sole owner of one kernel handle, closed when the owner is destroyed.
//
//   SmartHANDLE dir;
//   dir = CreateFileA(path, ...);     // closes any handle held before
//   ReadDirectoryChangesW(dir, ...);   // converts to HANDLE
//
// A handle is valid unless it is null or INVALID_HANDLE_VALUE; invalid ones are never closed.
// Storing and closing keep the thread's last error as it was, so a caller can still read the
// error of the call that produced the handle (ERROR_ALREADY_EXISTS, for instance).
// Not copyable: one handle, one owner. Moves pass the handle on.
#pragma once

#include "weftbase/WeftBaseApi.h"

class WEFTBASE_API SmartHANDLE
{
public:
    SmartHANDLE();
    explicit SmartHANDLE(HANDLE handle);
    SmartHANDLE(SmartHANDLE&& other) noexcept;
    SmartHANDLE& operator=(SmartHANDLE&& other) noexcept;
    SmartHANDLE(const SmartHANDLE&) = delete;
    SmartHANDLE& operator=(const SmartHANDLE&) = delete;
    // Closes the handle if it is valid.
    ~SmartHANDLE();

    // Closes the handle held before (unless it is the same one) and takes this one.
    SmartHANDLE& operator=(HANDLE handle);
    operator HANDLE() const;

    bool IsValid() const;
    // Closes a valid handle now and holds null afterwards.
    void Close();
    // Gives the handle up without closing it; holds null afterwards.
    HANDLE Detach();

    HANDLE m_hHandle;
};
