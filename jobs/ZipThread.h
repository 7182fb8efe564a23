// ZipThread: packs a directory or a list of files into a zip file in the background and tells
// its owner window with the registered message MSG_ZIPTHREAD_DONE when the job has ended.
//
//   ZipThread zip;
//   zip.Start(true, "C:\\out\\project.zip", "C:\\project", "", TextArray(), 7, hWnd, 0);
//   // on MSG_ZIPTHREAD_DONE (wParam 7, lParam 0): zip.GetZipResult()
//
// Start(isDir, ...) packs dir with DirUtils::CreateZipFile(outputFile, dir, extra) when isDir is
// true (extra: a folder name every entry is placed under, or empty), else the list with
// FileUtils::CreateZipFile(outputFile, files, dir) (dir: the base that names the entries). As
// common zip tools do, an item that cannot be read is left out: the archive of the readable
// items still replaces the output, and the result is false. Only a job that writes no archive at
// all (a missing folder, an output that cannot be made) leaves the output as it was.
//
// The end message is posted (PostMessageA), once, whether or not the packing succeeded, if wnd is
// not null and still a window: wParam is Start's wParam widened with its sign, lParam Start's.
// The outcome is read from the object after the message; the message says nothing of it.
//
// Threads: the owner calls Start once, then Stop or the destructor. The job never looks at the
// stop event: Stop(timeout) waits for the job for that long and then terminates the thread, with
// no message and no result (a terminated job's temporary file goes when the process ends). The
// destructor waits for the job without limit. No lock: the thread writes only the result.
//
// The message number is registered when the module loads, from a fixed string, so every process
// that loads the library (or registers that string itself) gets the same number. It differs from
// run to run of the system: compare incoming messages with the member, never with a constant.
#pragma once

#include "frame/MTWorkerThread.h"
#include "weftbase/TextArray.h"

#include <afx.h>

class WEFTCORE_API ZipThread
{
public:
    // RegisterWindowMessageA("5F2D9B0E-3A42-46f4-9B58-DACF5E5CA5A0"); 0 if the registration failed.
    static const unsigned int MSG_ZIPTHREAD_DONE;

    // No thread yet.
    ZipThread();
    ZipThread(const ZipThread&) = delete;
    ZipThread& operator=(const ZipThread&) = delete;
    ~ZipThread();

    // Stores the arguments (wnd is read here, once) and starts the job. An object serves one job:
    // while it has a thread, a further Start does nothing.
    void Start(bool isDir, const CString& outputFile, const CString& dir, const CString& extra,
               const TextArray& files, int wParam, HWND const& wnd, __int64 lParam);
    // The bounded stop; nothing before Start, and a second call returns at once.
    void Stop(unsigned long timeout);

    // What Start was given.
    CString GetDir() const;
    bool GetIsDir() const;
    CString GetOutputFile() const;
    // The packing's result: true if every item went into a complete archive. Read it after the
    // message (or once Stop has returned); false before the job has ended.
    bool GetZipResult() const;

protected:
    // The job: packs, stores the result, posts the message.
    void DoWork();

private:
    static unsigned int ZipThreadFunc(void* self);

    bool m_bIsDir;
    bool m_bZipResult;
    int m_nWParam;
    __int64 m_lParam;
    HWND m_hWnd;
    MTWorkerThread* m_pWorker;
    CString m_strDir;
    CString m_strExtra;
    CString m_strOutputFile;
    TextArray m_files;
};
