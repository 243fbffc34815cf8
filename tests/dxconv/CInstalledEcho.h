#pragma once

#include <doctest/doctest.h>

#include <windows.h>

/// Echo, registered by its own DLL for a scope.
class CInstalledEcho {
public:
    CInstalledEcho() : m_library(::LoadLibraryW(L"..\\echo.dll")) {
        REQUIRE(Call("DllRegisterServer") == S_OK);
    }
    ~CInstalledEcho() {
        CHECK(Call("DllUnregisterServer") == S_OK);
        ::FreeLibrary(m_library);
    }
    CInstalledEcho(const CInstalledEcho&) = delete;
    CInstalledEcho& operator=(const CInstalledEcho&) = delete;

    HRESULT Call(const char* name) const {
        void* const address = reinterpret_cast<void*>(::GetProcAddress(m_library, name));
        return address == nullptr ? E_FAIL : reinterpret_cast<HRESULT(WINAPI*)()>(address)();
    }

private:
    const HMODULE m_library;
};
