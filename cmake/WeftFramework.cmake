# A build against the real application framework instead of the stand-in in afx/: the framework
# comes as a shared DLL with the MSVC tool set, and its headers from the compiler's own include
# path. It cannot be built with mingw-w64.
if(NOT MSVC)
    message(FATAL_ERROR "WEFT_USE_AFX_STANDIN=OFF builds against the real application framework, which needs MSVC")
endif()

# The framework as a shared DLL, as extension DLLs need it.
set(CMAKE_MFC_FLAG 2)
add_library(weft_framework INTERFACE)
target_compile_definitions(weft_framework INTERFACE _AFXDLL)
set(WEFT_AFX weft_framework)
# The framework's own library brings WinMain.
set(WEFT_AFX_MAIN "")
