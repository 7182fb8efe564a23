#include "weftbase/DebugUtils.h"

namespace
{
void Emit(const std::source_location& location, const CString& tail)
{
    CString line;
    line.Format("%s(%u): %s", location.file_name(), static_cast<unsigned>(location.line()), location.function_name());
    if (!tail.IsEmpty())
        line += ": " + tail;
    line += "\n";
    // The debugger output must not change what the caller reads from GetLastError afterwards.
    const DWORD saved = ::GetLastError();
    ::OutputDebugStringA(line);
    ::SetLastError(saved);
}
}  // namespace

void DebugUtils::Trace(const std::source_location& location)
{
    Emit(location, CString());
}

void DebugUtils::Trace(const char* text, const std::source_location& location)
{
    Emit(location, CString(text));
}

void DebugUtils::Trace(unsigned long long number, const char* name, const std::source_location& location)
{
    CString tail;
    tail.Format("%s = %llu", name ? name : "", number);
    Emit(location, tail);
}

void DebugUtils::Trace(const char* first, const char* second, const std::source_location& location)
{
    CString tail(first);
    tail += ": ";
    tail += second;
    Emit(location, tail);
}
