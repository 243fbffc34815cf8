#include "tests/effects/CTestEffects.h"

#include "effects/echo/guids.h"
#include "support/handles.h"

#include <objbase.h>
#include <stdexcept>

namespace {

std::wstring ClassKey(const GUID& clsid) {
    wchar_t text[40];
    ::StringFromGUID2(clsid, text, 40);
    return std::wstring(L"Software\\Classes\\CLSID\\") + text;
}

} // namespace

std::wstring ProgramFolder() {
    wchar_t path[MAX_PATH * 4] = L"";
    ::GetModuleFileNameW(nullptr, path, MAX_PATH * 4);
    const std::wstring full = path;
    return full.substr(0, full.find_last_of(L'\\') + 1);
}

void RegisterClassInPrefix(const GUID& clsid, const std::wstring& dllPath) {
    const std::wstring key = ClassKey(clsid) + L"\\InprocServer32";
    CRegHandle server;
    if (::RegCreateKeyExW(
            HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, server.Put(), nullptr) != 0)
        throw std::runtime_error("no write access to the prefix");
    const auto set = [&](const wchar_t* name, const std::wstring& value) {
        ::RegSetValueExW(server.Get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
            static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    };
    set(nullptr, dllPath);
    set(L"ThreadingModel", L"Both");
}

void UnregisterClassInPrefix(const GUID& clsid) {
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, ClassKey(clsid).c_str());
}

void RegisterEcho() {
    for (const GUID& clsid : {kEchoFilterClsid, kEchoPageClsid})
        RegisterClassInPrefix(clsid, ProgramFolder() + L"..\\echo.dll");
}

CTestEffects::CTestEffects() {
    const std::wstring path = ProgramFolder() + L"test_effects.dll";
    const HMODULE library = ::LoadLibraryW(path.c_str()); // stays loaded: effects may outlive a test
    if (library == nullptr)
        throw std::runtime_error("test_effects.dll is missing");
    void* const address = reinterpret_cast<void*>(::GetProcAddress(library, "TestEffect_State"));
    m_state = reinterpret_cast<TestEffectStateFn>(address)();
    RegisterClassInPrefix(CLSID_TestEffect, path);
    RegisterClassInPrefix(CLSID_TestPage, path);
    Reset();
}

void CTestEffects::Reset() {
    const LONG live = m_state->record.liveObjects;
    m_state->plan = {};
    m_state->record = {};
    m_state->record.liveObjects = live;
}
