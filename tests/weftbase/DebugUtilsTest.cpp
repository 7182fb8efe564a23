#include "weftcore.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
// The debugger output of this thread, caught where OutputDebugStringA raises it, before the
// system looks for a debugger.
class DebugOutput
{
public:
    DebugOutput() : m_handler(AddVectoredExceptionHandler(1, &DebugOutput::Handler)) { s_self = this; }
    ~DebugOutput()
    {
        RemoveVectoredExceptionHandler(m_handler);
        s_self = nullptr;
    }
    std::vector<std::string> m_lines;

private:
    static LONG CALLBACK Handler(EXCEPTION_POINTERS* info)
    {
        const EXCEPTION_RECORD* r = info->ExceptionRecord;
        // DBG_PRINTEXCEPTION_C: length and narrow text. DBG_PRINTEXCEPTION_WIDE_C carries the
        // narrow text in its third and fourth parameters.
        const char* text = nullptr;
        if (r->ExceptionCode == 0x40010006 && r->NumberParameters >= 2)
            text = reinterpret_cast<const char*>(r->ExceptionInformation[1]);
        else if (r->ExceptionCode == 0x4001000A && r->NumberParameters >= 4)
            text = reinterpret_cast<const char*>(r->ExceptionInformation[3]);
        // Only this thread's lines: no other thread touches the list.
        if (text && s_self && GetCurrentThreadId() == s_self->m_threadId &&
            (r->ExceptionCode == 0x40010006 || s_self->m_lines.empty() || s_self->m_lines.back() != text))
            s_self->m_lines.emplace_back(text);
        return EXCEPTION_CONTINUE_SEARCH;
    }

    static inline DebugOutput* s_self = nullptr;
    void* m_handler;
    DWORD m_threadId = GetCurrentThreadId();
};

std::string Expected(const std::source_location& at, const std::string& tail)
{
    std::string line = std::string(at.file_name()) + "(" + std::to_string(at.line()) + "): " + at.function_name();
    return line + tail + "\n";
}
}  // namespace

TEST(DebugUtilsTest, EachFormWritesItsPlaceAndKeepsTheLastError)
{
    SetLastError(ERROR_ALREADY_EXISTS);
    DebugUtils::Trace("x");
    DebugUtils::Trace(static_cast<const char*>(nullptr));
    DebugUtils::Trace(1, nullptr);
    DebugUtils::Trace(nullptr, nullptr);
    EXPECT_EQ(static_cast<DWORD>(ERROR_ALREADY_EXISTS), GetLastError());

    DebugOutput output;
    const std::source_location here = std::source_location::current();
    DebugUtils::Trace(here);
    DebugUtils::Trace("WAIT_ABANDONED_0", here);
    DebugUtils::Trace(4294967295ull, "dwSignaled", here);
    DebugUtils::Trace("C:\\", "MSG_DCT_DRIVEADDED", here);
    const unsigned line = __LINE__ + 1;
    DebugUtils::Trace("here");  // the default place is the caller's line
    const std::vector<std::string>& lines = output.m_lines;
    if (lines.empty())
        GTEST_SKIP() << "this system does not raise debugger output as an exception";
    ASSERT_EQ(5u, lines.size());
    EXPECT_EQ(Expected(here, ""), lines[0]);
    EXPECT_EQ(Expected(here, ": WAIT_ABANDONED_0"), lines[1]);
    EXPECT_EQ(Expected(here, ": dwSignaled = 4294967295"), lines[2]);
    EXPECT_EQ(Expected(here, ": C:\\: MSG_DCT_DRIVEADDED"), lines[3]);
    EXPECT_NE(std::string::npos, lines[4].find("DebugUtilsTest.cpp(" + std::to_string(line) + "): ")) << lines[4];
    EXPECT_NE(std::string::npos, lines[4].find("EachFormWritesItsPlaceAndKeepsTheLastError")) << lines[4];
}
