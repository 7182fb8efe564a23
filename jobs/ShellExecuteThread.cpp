#include "jobs/ShellExecuteThread.h"

#include "frame/ReadyThreadSupport.h"
#include "module/CodedTexts.h"
#include "weftbase/AppLogger.h"
#include "weftbase/DirUtils.h"
#include "weftbase/ExeUtils.h"
#include "weftbase/FileUtils.h"
#include "weftbase/InternetUtils.h"
#include "weftbase/StringUtils.h"

#include <objbase.h>

namespace
{
const char* const LogEmptyFile = "{D200E479-40A6-4B65-831F-3FC1D68425C6}";
// The launch has this long at least, and Stop this much more before the thread is ended.
const unsigned long FirstWaitMs = 500;
const unsigned long LaunchLimitMs = 3000;
// How long a stop waits for a terminated thread to be gone. A thread held in synchronous I/O
// (a file on a dead network share) goes only when the I/O ends; it never runs our code again.
const unsigned long TerminatedWaitMs = 100;
}  // namespace

ShellExecuteThread::ShellExecuteThread(const CString& file, const CString& argument)
    : m_pWorker(nullptr), m_strFile(file), m_nTextClaimed(0), m_bTerminated(false)
{
    if (StringUtils::IsEffectivelyEmpty(file))
    {
        if (AppLogger::m_pInstance != nullptr)
            AppLogger::m_pInstance->AddLine(LogEmptyFile);
        m_strErrorMsg = StringUtils::DecryptText(CodedTexts::ShellEmptyFileText);
        return;
    }
    m_strArgument = argument;
    if (FileUtils::GetFileExt(file).CompareNoCase(StringUtils::DecryptText(CodedTexts::ShellArgumentExtension)) != 0)
        m_strArgument.Empty();
    // The argument's folder even where the argument itself was dropped.
    if (!argument.IsEmpty())
        m_strDir = DirUtils::ParsePathFromFile(argument);
    else if (!InternetUtils::IsInternetFile(file))
        m_strDir = DirUtils::ParsePathFromFile(file);
    ReadyThreadSupport::StartWorker(m_pWorker, ShellExecuteThreadFunc, this);
    // The full first wait, even for a launch that ends early; then the bound.
    ::Sleep(FirstWaitMs);
    Stop(LaunchLimitMs);
}

ShellExecuteThread::~ShellExecuteThread()
{
    // A terminated thread never runs our code again: it is not waited for a second time.
    if (!m_bTerminated)
        ReadyThreadSupport::StopAndWait(m_pWorker);
    ReadyThreadSupport::DeleteWorker(m_pWorker);
}

void ShellExecuteThread::Stop(unsigned long timeout)
{
    if (m_bTerminated || !ReadyThreadSupport::StopWorker(m_pWorker, timeout))
        return;
    m_bTerminated = true;
    // Termination is asynchronous; the wait for it is bounded, and the claim keeps the thread's
    // own text and the time-out text apart whether or not it is gone by then.
    ::WaitForSingleObject(m_pWorker->GetHandle(), TerminatedWaitMs);
    if (::InterlockedExchange(&m_nTextClaimed, 1) == 0)
        m_strErrorMsg = StringUtils::DecryptText(CodedTexts::ShellTimeoutLeadText) + m_strFile;
}

CString ShellExecuteThread::GetErrorMsg() const
{
    return m_strErrorMsg;
}

unsigned int ShellExecuteThread::ShellExecuteThreadFunc(void* self)
{
    ShellExecuteThread* launcher = static_cast<ShellExecuteThread*>(self);
    if (launcher == nullptr)
        return 0;
    MTWorkerThread* worker = ReadyThreadSupport::AwaitWorker(launcher->m_pWorker);
    // The shell wants a single-threaded apartment; a failure here shows in the launch's own text.
    const HRESULT com = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
    worker->SetPriority(THREAD_PRIORITY_LOWEST);
    launcher->DoWork();
    // Only a successful initialisation is balanced.
    if (SUCCEEDED(com))
        ::CoUninitialize();
    return 0;
}

void ShellExecuteThread::DoWork()
{
    // The shell writes into a text of this thread's own: a thread terminated in the launch
    // leaves the member whole. The member is written only if Stop has not claimed it.
    CString error;
    ExeUtils::ShellLaunchApp(m_strFile, m_strDir, m_strArgument, true, ExeUtils::Default, SW_SHOWNORMAL, error,
                             nullptr);
    if (::InterlockedExchange(&m_nTextClaimed, 1) == 0)
        m_strErrorMsg = error;
}
