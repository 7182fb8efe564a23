// Export and import of the library's classes, and the one way the library includes Win32.
#pragma once

#include <windows.h>

#ifdef WEFTCORE_BUILD
#define WEFTCORE_API __declspec(dllexport)
#else
#define WEFTCORE_API __declspec(dllimport)
#endif
