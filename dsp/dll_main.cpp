#include "config/form_icons.h"

#include <windows.h>

namespace __gnu_cxx {
void __freeres(); // the C++ run-time's own: gives back its emergency pool
}

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID processEnds) {
    if (reason == DLL_PROCESS_ATTACH)
        LoadFormIcons(module);
    if (reason != DLL_PROCESS_DETACH || processEnds != nullptr)
        return TRUE;
    DestroyFormIcons();
    // A host that loads and unloads the library again and again must not lose memory each time.
    __gnu_cxx::__freeres();
    return TRUE;
}
