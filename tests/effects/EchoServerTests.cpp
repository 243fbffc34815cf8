#include "effects/echo/resource.h"
#include "tests/effects/CEchoRig.h"

#include <commctrl.h>
#include <ocidl.h>

namespace {

// Makes the page active for the effect, in a window of its own that is the answer.
HWND ShowPage(IPropertyPage& page, IEcho& echo) {
    PROPPAGEINFO info{};
    REQUIRE(page.GetPageInfo(&info) == S_OK);
    ::CoTaskMemFree(info.pszTitle);
    const RECT area{0, 0, info.size.cx, info.size.cy};
    const HWND parent = ::CreateWindowExW(WS_EX_CONTROLPARENT, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 20, 20,
        area.right, area.bottom, nullptr, nullptr, nullptr, nullptr);
    IUnknown* objects[] = {&echo};
    REQUIRE(page.SetObjects(1, objects) == S_OK);
    REQUIRE(page.Activate(parent, &area, FALSE) == S_OK);
    REQUIRE(page.Show(SW_SHOW) == S_OK);
    return parent;
}

} // namespace

TEST_CASE("every object, factory and lock keeps the DLL, until its last reference goes") {
    const CEchoModule module;
    for (const GUID& clsid : {kEchoFilterClsid, kEchoPageClsid}) {
        ComPtr<IClassFactory> factory;
        REQUIRE(::CoGetClassObject(clsid, CLSCTX_INPROC_SERVER, nullptr, IID_PPV_ARGS(&factory)) == S_OK);
        void* out = &out;
        CHECK(factory->CreateInstance(factory.Get(), IID_IUnknown, &out) == CLASS_E_NOAGGREGATION);
        CHECK(factory->CreateInstance(nullptr, IID_IDispatch, &out) == E_NOINTERFACE);
        CHECK(factory->LockServer(TRUE) == S_OK);
        CHECK(factory->LockServer(FALSE) == S_OK);
        CHECK(module.Call("DllCanUnloadNow") == S_FALSE);
        CHECK(factory.Reset() == 0);
        CHECK(module.Call("DllCanUnloadNow") == S_OK);
        auto object = module.Create<IUnknown>(clsid);
        CHECK(module.Call("DllCanUnloadNow") == S_FALSE);
        CHECK(object.Reset() == 0);
    }
}

TEST_CASE("sliding and typing change the effect at once, and wrong text is put right") {
    const CEchoModule module;
    const auto page = module.Create<IPropertyPage>(kEchoPageClsid);
    auto echo = module.Create<IEcho>(kEchoFilterClsid);
    const HWND parent = ShowPage(*page.Get(), *echo.Get());
    const HWND dialog = ::GetWindow(parent, GW_CHILD);
    ComPtr<IPersistStream> state;
    REQUIRE(echo.As(&state) == S_OK);
    CHECK(state->IsDirty() == S_FALSE);
    for (DWORD n = 0; n < kEchoParameters; ++n) {
        CAPTURE(n);
        const HWND slider = ::GetDlgItem(dialog, IDC_FIRST_SLIDER + static_cast<int>(n));
        const HWND edit = ::GetDlgItem(dialog, IDC_FIRST_EDIT + static_cast<int>(n));
        const auto checkAll = [&](LONG expected) {
            LONG value = -1;
            wchar_t text[16];
            CHECK(echo->GetParameter(n, &value) == S_OK);
            CHECK(value == expected);
            CHECK(::SendMessageW(slider, TBM_GETPOS, 0, 0) == expected);
            CHECK(std::wstring(text, ::GetWindowTextW(edit, text, 16)) == std::to_wstring(expected));
        };
        CHECK(echo->SetParameter(n, kEchoRanges[n].least - 1) == E_INVALIDARG);
        CHECK(echo->SetParameter(n, kEchoRanges[n].most + 1) == E_INVALIDARG);
        checkAll(kEchoRanges[n].initial);
        for (const LONG position : {kEchoRanges[n].most, kEchoRanges[n].least}) {
            ::SendMessageW(slider, TBM_SETPOS, TRUE, position);
            ::SendMessageW(dialog, WM_HSCROLL, TB_THUMBTRACK, reinterpret_cast<LPARAM>(slider));
            checkAll(position);
        }
        for (const wchar_t* const text : {L"77", L"9999", L"x", L""}) {
            ::SetFocus(edit);
            ::SetWindowTextW(edit, text);
            ::SetFocus(slider);
            checkAll(77);
        }
    }
    CHECK((state->IsDirty() == S_OK && state.Reset() > 0));
    CHECK(page->SetObjects(0, nullptr) == S_OK);
    CHECK(echo.Reset() == 0);
    ::DestroyWindow(parent); // before the page is told
    CHECK(page->Deactivate() == S_OK);
}
