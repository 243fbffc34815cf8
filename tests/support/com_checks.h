#pragma once

#include <windows.h>
#include <unknwn.h>
#include <doctest/doctest.h>
#include <initializer_list>

/// References that `object` has now.
inline ULONG References(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

/// Does `object` answer exactly these, with one identity and one reference each?
inline void CheckInterfaces(
    IUnknown* object, std::initializer_list<GUID> offered, std::initializer_list<GUID> refused) {
    const auto ask = [](IUnknown* of, const GUID& iid) {
        IUnknown* out = of;
        const HRESULT result = of->QueryInterface(iid, reinterpret_cast<void**>(&out));
        CHECK(result == (out != nullptr ? S_OK : E_NOINTERFACE));
        return out;
    };
    const ULONG before = References(object);
    for (const GUID& iid : offered) {
        CAPTURE(iid.Data1);
        IUnknown* const faces[] = {ask(object, IID_IUnknown), ask(ask(object, iid), IID_IUnknown)};
        CHECK((faces[0] == faces[1] && References(object) == before + 3));
        for (int n = 0; n < 3; ++n)
            object->Release();
    }
    for (const GUID& iid : refused)
        CHECK(ask(object, iid) == nullptr);
    CHECK(object->QueryInterface(IID_IUnknown, nullptr) == E_POINTER);
}
