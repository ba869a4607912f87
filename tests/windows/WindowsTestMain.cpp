// The tests run in the multithreaded apartment, where the module expects its callers.
#include <objbase.h>

#include "TestRunner.h"

int main(int argc, char** argv) {
    const HRESULT entered = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const int failures = qn::wintest::RunAll(argc, argv);
    if (SUCCEEDED(entered)) CoUninitialize();
    return failures == 0 ? 0 : 1;
}
