// The one translation unit that defines the WinRM automation GUIDs: mingw's import libraries lack them.
#include <windows.h>
// clang-format off
#include <initguid.h>
#include <wsmandisp.h>
// clang-format on
