// Framework core for builds without the application framework: CString and the basic types.
// A build against the real framework leaves this folder out; nothing else in the tree
// knows the difference.
#pragma once

#include <windows.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#ifdef AFXLITE_BUILD
#define AFXLITE_API __declspec(dllexport)
#else
#define AFXLITE_API __declspec(dllimport)
#endif

#ifndef AFX_CDECL
#define AFX_CDECL __cdecl
#endif
#ifndef AFXAPI
#define AFXAPI __stdcall
#endif

#include "afxstr.h"
