#include "effects/echo/registration.h"

#include "effects/echo/guids.h"
#include "support/hresult.h"
#include "support/module.h"

#include <dshow.h>
#include <wrl/client.h>
#include <cwchar>
#include <iterator>

namespace {

constexpr wchar_t kFilterName[] = L"Echo";
constexpr wchar_t kPageName[] = L"Echo Property Page";
constexpr DWORD kMerit = MERIT_DO_NOT_USE + 1;

// COM for a scope; regsvr32 has it, other callers may not.
class CComScope {
public:
    CComScope() : m_result(::CoInitialize(nullptr)) {}
    ~CComScope() {
        if (SUCCEEDED(m_result))
            ::CoUninitialize();
    }
    CComScope(const CComScope&) = delete;
    CComScope& operator=(const CComScope&) = delete;

private:
    const HRESULT m_result;
};

// A class's key below the class root, or one below that.
struct ClassKey {
    wchar_t path[80];
    explicit ClassKey(const GUID& clsid, const wchar_t* below = L"") {
        wchar_t text[39];
        ::StringFromGUID2(clsid, text, ARRAYSIZE(text));
        std::swprintf(path, std::size(path), L"CLSID\\%ls%ls", text, below);
    }
};

HRESULT SetText(const ClassKey& key, const wchar_t* name, const wchar_t* text) {
    const auto bytes = static_cast<DWORD>((::lstrlenW(text) + 1)) * sizeof(wchar_t);
    return HRESULT_FROM_WIN32(::RegSetKeyValueW(HKEY_CLASSES_ROOT, key.path, name, REG_SZ, text, bytes));
}

HRESULT AddClass(const GUID& clsid, const wchar_t* name) {
    wchar_t file[MAX_PATH];
    const DWORD length = ::GetModuleFileNameW(ModuleHandle(), file, MAX_PATH);
    if (length == 0 || length == MAX_PATH)
        return HRESULT_FROM_WIN32(length == 0 ? ::GetLastError() : DWORD{ERROR_INSUFFICIENT_BUFFER});
    const ClassKey server(clsid, L"\\InprocServer32");
    RETURN_IF_FAILED(SetText(ClassKey(clsid), nullptr, name));
    RETURN_IF_FAILED(SetText(server, nullptr, file));
    return SetText(server, L"ThreadingModel", L"Both");
}

HRESULT RemoveClass(const GUID& clsid) {
    const LSTATUS status = ::RegDeleteTreeW(HKEY_CLASSES_ROOT, ClassKey(clsid).path);
    return status == ERROR_FILE_NOT_FOUND ? S_OK : HRESULT_FROM_WIN32(status);
}

HRESULT GetMapper(IFilterMapper2** mapper) {
    return ::CoCreateInstance(CLSID_FilterMapper, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
        reinterpret_cast<void**>(mapper));
}

HRESULT AddFilter() {
    const REGPINTYPES pcm{&MEDIATYPE_Audio, &MEDIASUBTYPE_PCM};
    wchar_t inName[] = L"In";
    wchar_t outName[] = L"Out";
    const REGFILTERPINS pins[] = {{inName, FALSE, FALSE, FALSE, FALSE, nullptr, nullptr, 1, &pcm},
        {outName, FALSE, TRUE, FALSE, FALSE, nullptr, nullptr, 1, &pcm}};
    REGFILTER2 filter{};
    filter.dwVersion = 1;
    filter.dwMerit = kMerit;
    filter.cPins = ARRAYSIZE(pins);
    filter.rgPins = pins;
    Microsoft::WRL::ComPtr<IFilterMapper2> mapper;
    RETURN_IF_FAILED(GetMapper(&mapper));
    return mapper->RegisterFilter(
        kEchoFilterClsid, kFilterName, nullptr, &CLSID_LegacyAmFilterCategory, nullptr, &filter);
}

HRESULT RemoveFilter() {
    Microsoft::WRL::ComPtr<IFilterMapper2> mapper;
    RETURN_IF_FAILED(GetMapper(&mapper));
    const HRESULT result = mapper->UnregisterFilter(&CLSID_LegacyAmFilterCategory, nullptr, kEchoFilterClsid);
    return result == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) ? S_OK : result;
}

} // namespace

HRESULT RegisterEcho() {
    const CComScope com;
    HRESULT result = AddClass(kEchoFilterClsid, kFilterName);
    if (SUCCEEDED(result))
        result = AddClass(kEchoPageClsid, kPageName);
    if (SUCCEEDED(result))
        result = AddFilter();
    if (FAILED(result))
        UnregisterEcho();
    return result;
}

HRESULT UnregisterEcho() {
    const CComScope com;
    const HRESULT results[] = {RemoveFilter(), RemoveClass(kEchoPageClsid), RemoveClass(kEchoFilterClsid)};
    for (const HRESULT result : results)
        RETURN_IF_FAILED(result);
    return S_OK;
}
