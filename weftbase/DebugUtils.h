// Trace lines to the debugger output, each with the place in the source that wrote it.
#pragma once

#include "weftbase/WeftBaseApi.h"

#include <afx.h>

#include <source_location>

class WEFTBASE_API DebugUtils
{
public:
    // "file(line): function"
    static void Trace(const std::source_location& location = std::source_location::current());
    // "file(line): function: text"
    static void Trace(const char* text, const std::source_location& location = std::source_location::current());
    // "file(line): function: name = number"
    static void Trace(unsigned long long number, const char* name,
                      const std::source_location& location = std::source_location::current());
    // "file(line): function: first: second"
    static void Trace(const char* first, const char* second,
                      const std::source_location& location = std::source_location::current());
};
