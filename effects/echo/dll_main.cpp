#include "effects/echo/CClassFactory.h"
#include "effects/echo/CEcho.h"
#include "effects/echo/CEchoPage.h"
#include "effects/echo/guids.h"
#include "effects/echo/registration.h"

namespace __gnu_cxx {
void __freeres(); // the C++ run-time's own; no header declares it
}

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* processEnds) {
    // The run-time's emergency memory for exceptions would stay behind.
    if (reason == DLL_PROCESS_DETACH && processEnds == nullptr)
        __gnu_cxx::__freeres();
    return TRUE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    CClassFactory::Maker maker = nullptr;
    if (clsid == kEchoFilterClsid)
        maker = [](REFIID wanted, void** object) { return MakeObject<CEcho>(wanted, object); };
    else if (clsid == kEchoPageClsid)
        maker = [](REFIID wanted, void** object) { return MakeObject<CEchoPage>(wanted, object); };
    return maker != nullptr ? MakeObject<CClassFactory>(iid, out, maker) : CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() {
    return CModuleUse::IsNone() ? S_OK : S_FALSE;
}

STDAPI DllRegisterServer() {
    return RegisterEcho();
}

STDAPI DllUnregisterServer() {
    return UnregisterEcho();
}
