// Filters that do not let themselves be tried, for tests of the scan. The first byte of the class id says
// what happens when one is asked for its property page:
//   E ends the process with exit code 0, K kills it (0xBEEF), H hangs, C faults, R says that it has none
// 'L' says so as well, and hangs when it is released.
#include <windows.h>
#include <ocidl.h>
#include <unknwn.h>

namespace {

// Of a filter it has as much as is used until then. One of each kind, which never goes.
class CHostile : public IUnknown {
public:
    char behaviour = 'R';

    HRESULT WINAPI QueryInterface(REFIID iid, void** out) override {
        *out = nullptr;
        if (iid == __uuidof(ISpecifyPropertyPages)) {
            Misbehave();
            return E_NOINTERFACE;
        }
        *out = this;
        return S_OK;
    }
    ULONG WINAPI AddRef() override { return 2; }
    ULONG WINAPI Release() override {
        if (behaviour == 'L')
            Sleep(INFINITE);
        return 1;
    }

private:
    void Misbehave() const {
        if (behaviour == 'E')
            ExitProcess(0);
        if (behaviour == 'K')
            TerminateProcess(GetCurrentProcess(), 0xBEEF);
        if (behaviour == 'H')
            Sleep(INFINITE);
        if (behaviour == 'C')
            RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
    }
};

class CFactory : public IClassFactory {
public:
    CHostile effect;

    HRESULT WINAPI QueryInterface(REFIID, void** out) override {
        *out = this;
        return S_OK;
    }
    ULONG WINAPI AddRef() override { return 2; }
    ULONG WINAPI Release() override { return 1; }
    HRESULT WINAPI CreateInstance(IUnknown*, REFIID iid, void** out) override {
        return effect.QueryInterface(iid, out);
    }
    HRESULT WINAPI LockServer(BOOL) override { return S_OK; }
};

CFactory g_factory; // a process tries one candidate

} // namespace

extern "C" HRESULT WINAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
    g_factory.effect.behaviour = static_cast<char>(clsid.Data1);
    return g_factory.QueryInterface(iid, out);
}
