#include <windows.h>

namespace __gnu_cxx {
void __freeres(); // the C++ run-time's own: gives back its emergency pool
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID processEnds) {
    // A host that loads and unloads the library again and again must not lose memory each time.
    if (reason == DLL_PROCESS_DETACH && processEnds == nullptr)
        __gnu_cxx::__freeres();
    return TRUE;
}
