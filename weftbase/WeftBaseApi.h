// Export and import of the utility library's classes.
#pragma once

#include <windows.h>

#ifdef WEFTBASE_BUILD
#define WEFTBASE_API __declspec(dllexport)
#else
#define WEFTBASE_API __declspec(dllimport)
#endif
