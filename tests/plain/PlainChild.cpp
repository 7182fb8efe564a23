// A program that does not load the library: registers a window message string and compares
// the number with the one given. Exit code 0 if equal, 1 if not, 2 if the library is loaded.
//   weft_plainchild.exe <string> <number>
#include <windows.h>

#include <cstdlib>

int main(int argc, char** argv)
{
    if (argc != 3)
        return 250;
    if (GetModuleHandleA("weftcore.dll") != nullptr || GetModuleHandleA("weftbase.dll") != nullptr)
        return 2;
    const UINT number = RegisterWindowMessageA(argv[1]);
    return number != 0 && number == static_cast<UINT>(std::strtoul(argv[2], nullptr, 10)) ? 0 : 1;
}
