// ShellExecuteThread: launches a file, program or address through the shell without letting a
// hanging launch hang the caller. The whole job happens in the constructor, which returns after
// at least 500 ms and at most about 3.5 s, whatever the launch does.
//
//   ShellExecuteThread launch("C:\\tools\\viewer.exe", "C:\\data\\plan.txt");
//   if (!launch.GetErrorMsg().IsEmpty()) ... // the launch failed or ran out of time
//
// The argument reaches the launch only for a program (".exe"); for any other file it is dropped,
// but its folder still becomes the launch's directory. Without an argument the directory is the
// file's own folder, or none for an internet address.
//
// The launch runs on its own thread, in a single-threaded COM apartment, and is given 500 ms and
// then 3 s more; a launch still under way then has its thread terminated (it may still have had
// its effect) and the error text tells of the time-out. An empty or blank file launches nothing.
//
// No owner window, no message, no lock: the caller reads GetErrorMsg after the constructor, when
// the launching thread has ended or been ended. A later Stop returns at once. A launch held in
// synchronous I/O may outlive its termination; the constructor still returns within the bound.
#pragma once

#include "frame/MTWorkerThread.h"

#include <afx.h>

class WEFTCORE_API ShellExecuteThread
{
public:
    // Makes the launch; see above.
    ShellExecuteThread(const CString& file, const CString& argument);
    ShellExecuteThread(const ShellExecuteThread&) = delete;
    ShellExecuteThread& operator=(const ShellExecuteThread&) = delete;
    ~ShellExecuteThread();

    // The bounded stop: waits timeout ms for the launching thread, then terminates it, waits at
    // most 100 ms more for it to be gone, and sets the time-out text followed by the file unless
    // the launch wrote its own outcome first. Nothing without a thread, once it has ended, or once
    // it was terminated; the destructor then waits no more either.
    void Stop(unsigned long timeout);

    // The failure text: the shell's text of a failed launch, the time-out text followed by the
    // file, or the text for an empty file. Empty when no failure is known.
    CString GetErrorMsg() const;

protected:
    // The launch, on the launching thread.
    void DoWork();

private:
    static unsigned int ShellExecuteThreadFunc(void* self);

    MTWorkerThread* m_pWorker;
    CString m_strFile;
    CString m_strArgument;
    CString m_strDir;
    CString m_strErrorMsg;
    // Set by the side that writes m_strErrorMsg, claimed once by an interlocked exchange.
    volatile long m_nTextClaimed;
    bool m_bTerminated;
};
