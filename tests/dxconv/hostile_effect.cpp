// A filter that does not let itself be tried, for tests of the scan. The first byte of the class id says what
// happens when it is asked for its property page:
//   E ends the process with exit code 0, K kills it (0xBEEF), H hangs, C faults, R says that it has none
// L says so as well, and hangs when it is released.
#include <windows.h>
#include <ocidl.h>
#include <unknwn.h>

namespace {

// Class object and filter in one, which never goes; of a filter it has as much as is used until then.
class CHostile : public IClassFactory {
public:
    char behaviour = 'R'; // one a process: it tries one candidate

    HRESULT WINAPI QueryInterface(REFIID iid, void** out) override {
        *out = nullptr;
        if (iid == __uuidof(ISpecifyPropertyPages))
            return Misbehave();
        *out = this;
        return S_OK;
    }
    ULONG WINAPI AddRef() override { return 2; }
    ULONG WINAPI Release() override {
        if (behaviour == 'L' && m_asked)
            Sleep(INFINITE);
        return 1;
    }
    HRESULT WINAPI CreateInstance(IUnknown*, REFIID iid, void** out) override {
        return QueryInterface(iid, out);
    }
    HRESULT WINAPI LockServer(BOOL) override { return S_OK; }

private:
    HRESULT Misbehave() {
        m_asked = true;
        if (behaviour == 'E')
            ExitProcess(0);
        if (behaviour == 'K')
            TerminateProcess(GetCurrentProcess(), 0xBEEF);
        if (behaviour == 'H') {
            CreateEventW(nullptr, TRUE, TRUE, L"dxs hangs"); // for who waits for this moment
            Sleep(INFINITE);
        }
        if (behaviour == 'C')
            RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
        return E_NOINTERFACE;
    }
    bool m_asked = false;
};

CHostile g_hostile;

} // namespace

extern "C" HRESULT WINAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
    g_hostile.behaviour = static_cast<char>(clsid.Data1);
    return g_hostile.QueryInterface(iid, out);
}
