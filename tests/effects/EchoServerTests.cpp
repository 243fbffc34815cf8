#include "effects/echo/resource.h"
#include "tests/effects/CEchoRig.h"

#include <commctrl.h>
#include <ocidl.h>
#include <string>

using Microsoft::WRL::ComPtr;

namespace {

// A text in a class's key or one below it; empty when it is not there.
std::wstring TextOf(const GUID& clsid, const wchar_t* below, const wchar_t* name) {
    wchar_t key[39];
    ::StringFromGUID2(clsid, key, 39);
    wchar_t text[MAX_PATH]{};
    DWORD bytes = sizeof(text);
    ::RegGetValueW(HKEY_CLASSES_ROOT, (std::wstring(L"CLSID\\") + key + below).c_str(), name, RRF_RT_REG_SZ,
        nullptr, text, &bytes);
    return text;
}

// Does a host's search for audio effects come upon it?
bool IsFound() {
    ComPtr<IFilterMapper2> mapper;
    REQUIRE(::CoCreateInstance(CLSID_FilterMapper, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                reinterpret_cast<void**>(mapper.GetAddressOf())) == S_OK);
    const GUID pcm[] = {MEDIATYPE_Audio, MEDIASUBTYPE_PCM};
    ComPtr<IEnumMoniker> monikers;
    REQUIRE(SUCCEEDED(mapper->EnumMatchingFilters(&monikers, 0, FALSE, MERIT_DO_NOT_USE, TRUE, 1, pcm,
        nullptr, nullptr, FALSE, TRUE, 1, pcm, nullptr, nullptr)));
    int found = 0;
    ComPtr<IMoniker> moniker;
    while (monikers->Next(1, moniker.ReleaseAndGetAddressOf(), nullptr) == S_OK) {
        ComPtr<IPropertyBag> bag;
        VARIANT name{};
        if (SUCCEEDED(moniker->BindToStorage(
                nullptr, nullptr, IID_IPropertyBag, reinterpret_cast<void**>(bag.GetAddressOf()))) &&
            SUCCEEDED(bag->Read(L"FriendlyName", &name, nullptr)))
            found += std::wstring(name.bstrVal) == L"Echo" ? 1 : 0;
        ::VariantClear(&name);
    }
    CHECK(found <= 1);
    return found == 1;
}

DWORD RegSvr32(const wchar_t* options, HMODULE module) {
    wchar_t path[MAX_PATH];
    ::GetModuleFileNameW(module, path, MAX_PATH);
    std::wstring line = std::wstring(L"regsvr32.exe ") + options + L" \"" + path + L"\"";
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    REQUIRE(::CreateProcessW(
        nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process));
    DWORD code = STILL_ACTIVE;
    ::WaitForSingleObject(process.hProcess, 60000);
    ::GetExitCodeProcess(process.hProcess, &code);
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
    return code;
}

/// The effect's page, active in a window of its size.
class CPageRig {
public:
    explicit CPageRig(const CEchoModule& module)
        : m_page(module.Create<IPropertyPage>(kEchoPageClsid, IID_IPropertyPage)),
          m_echo(module.Create<IEcho>(kEchoFilterClsid, IID_IEcho)) {
        m_info.cb = sizeof(m_info);
        REQUIRE(m_page->GetPageInfo(&m_info) == S_OK);
        const RECT area{0, 0, m_info.size.cx, m_info.size.cy};
        m_parent = ::CreateWindowExW(WS_EX_CONTROLPARENT, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 20, 20,
            area.right, area.bottom, nullptr, nullptr, nullptr, nullptr);
        REQUIRE(m_parent != nullptr);
        IUnknown* objects[] = {m_echo.Get()};
        REQUIRE(m_page->SetObjects(1, objects) == S_OK);
        REQUIRE(m_page->Activate(m_parent, &area, FALSE) == S_OK);
        REQUIRE(m_page->Show(SW_SHOW) == S_OK);
        m_dialog = ::GetWindow(m_parent, GW_CHILD);
    }
    ~CPageRig() {
        ::CoTaskMemFree(m_info.pszTitle);
        if (::IsWindow(m_parent))
            ::DestroyWindow(m_parent);
    }

    HWND Slider(DWORD parameter) const {
        return ::GetDlgItem(m_dialog, IDC_FIRST_SLIDER + static_cast<int>(parameter));
    }
    HWND Edit(DWORD parameter) const {
        return ::GetDlgItem(m_dialog, IDC_FIRST_EDIT + static_cast<int>(parameter));
    }
    LONG Position(DWORD parameter) const {
        return static_cast<LONG>(::SendMessageW(Slider(parameter), TBM_GETPOS, 0, 0));
    }
    std::wstring Text(DWORD parameter) const {
        wchar_t text[16];
        ::SendMessageW(Edit(parameter), WM_GETTEXT, 16, reinterpret_cast<LPARAM>(text));
        return text;
    }
    LONG Value(DWORD parameter) const {
        LONG value = -1;
        m_echo->GetParameter(parameter, &value);
        return value;
    }
    void Slide(DWORD parameter, LONG to) const {
        ::SendMessageW(Slider(parameter), TBM_SETPOS, TRUE, to);
        ::SendMessageW(m_dialog, WM_HSCROLL, TB_THUMBTRACK, reinterpret_cast<LPARAM>(Slider(parameter)));
    }
    void Type(DWORD parameter, const char* keys) const {
        ::SetFocus(Edit(parameter));
        ::SendMessageW(Edit(parameter), EM_SETSEL, 0, -1);
        ::SendMessageW(Edit(parameter), WM_CLEAR, 0, 0);
        for (; *keys != 0; ++keys)
            ::SendMessageW(Edit(parameter), WM_CHAR, static_cast<WPARAM>(*keys), 1);
    }

    ComPtr<IPropertyPage> m_page;
    ComPtr<IEcho> m_echo;
    PROPPAGEINFO m_info{};
    HWND m_parent = nullptr;
    HWND m_dialog = nullptr;
};

} // namespace

TEST_CASE("class objects make their class, refuse the rest, and the DLL knows when it is done with") {
    const CEchoModule module;
    void* out = &out;
    CHECK(module.ClassObject(IID_IEcho, IID_IClassFactory, &out) == CLASS_E_CLASSNOTAVAILABLE);
    CHECK(out == nullptr);
    CHECK(module.ClassObject(kEchoPageClsid, IID_IEcho, &out) == E_NOINTERFACE);
    for (const GUID& clsid : {kEchoFilterClsid, kEchoPageClsid}) {
        CHECK(module.CanUnload() == S_OK);
        REQUIRE(module.ClassObject(clsid, IID_IClassFactory, &out) == S_OK);
        const auto factory = static_cast<IClassFactory*>(out);
        CHECK(factory->CreateInstance(factory, IID_IUnknown, &out) == CLASS_E_NOAGGREGATION);
        CHECK(out == nullptr);
        CHECK(factory->CreateInstance(nullptr, IID_IDispatch, &out) == E_NOINTERFACE);
        CHECK(factory->LockServer(TRUE) == S_OK);
        auto object = module.Create<IUnknown>(clsid, IID_IUnknown);
        CHECK(object.Reset() == 0);
        CHECK(module.CanUnload() == S_FALSE);
        CHECK(factory->LockServer(FALSE) == S_OK);
        CHECK(module.CanUnload() == S_FALSE);
        CHECK(factory->Release() == 0);
    }
    const auto filter = module.Create<IUnknown>(kEchoFilterClsid, IID_IUnknown);
    for (const GUID& iid : {IID_IPersist, IID_IMediaFilter, IID_IBaseFilter, IID_IPersistStream,
             IID_ISpecifyPropertyPages, IID_IEcho}) {
        ComPtr<IUnknown> face;
        ComPtr<IUnknown> identity;
        REQUIRE(filter->QueryInterface(iid, reinterpret_cast<void**>(face.GetAddressOf())) == S_OK);
        REQUIRE(
            face->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(identity.GetAddressOf())) == S_OK);
        CHECK(identity.Get() == filter.Get());
    }
    ComPtr<ISpecifyPropertyPages> specify;
    REQUIRE(filter->QueryInterface(IID_ISpecifyPropertyPages, &specify) == S_OK);
    CAUUID pages{};
    REQUIRE(specify->GetPages(&pages) == S_OK);
    CHECK(pages.cElems == 1);
    CHECK(pages.pElems[0] == kEchoPageClsid);
    ::CoTaskMemFree(pages.pElems);
}

TEST_CASE("regsvr32 makes the effect creatable and findable, and leaves nothing when it takes it back") {
    const CEchoModule module;
    RegSvr32(L"/s /u", module.Handle()); // what an earlier run may have left
    CHECK_FALSE(IsFound());
    REQUIRE(RegSvr32(L"/s", module.Handle()) == 0);
    CHECK(RegSvr32(L"/s", module.Handle()) == 0);
    CHECK(IsFound());
    for (const GUID& clsid : {kEchoFilterClsid, kEchoPageClsid}) {
        CHECK_FALSE(TextOf(clsid, L"", nullptr).empty());
        CHECK(TextOf(clsid, L"\\InprocServer32", L"ThreadingModel") == L"Both");
        ComPtr<IUnknown> object;
        CHECK(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                  reinterpret_cast<void**>(object.GetAddressOf())) == S_OK);
    }
    for (int round = 0; round < 2; ++round) {
        CHECK(RegSvr32(L"/s /u", module.Handle()) == 0);
        CHECK_FALSE(IsFound());
        CHECK(TextOf(kEchoFilterClsid, L"", nullptr).empty());
        CHECK(TextOf(kEchoPageClsid, L"", nullptr).empty());
    }
}

TEST_CASE("the page has the size that it announces, and no control overlaps another or the edge") {
    const CEchoModule module;
    const CPageRig rig(module);
    CHECK(std::wstring(rig.m_info.pszTitle) == L"Echo");
    RECT page{};
    ::GetWindowRect(rig.m_dialog, &page);
    CHECK(page.right - page.left == rig.m_info.size.cx);
    CHECK(page.bottom - page.top == rig.m_info.size.cy);
    int controls = 0;
    for (HWND one = ::GetWindow(rig.m_dialog, GW_CHILD); one != nullptr;
         one = ::GetWindow(one, GW_HWNDNEXT)) {
        ++controls;
        RECT place{};
        RECT common{};
        ::GetWindowRect(one, &place);
        ::UnionRect(&common, &place, &page);
        CHECK(::EqualRect(&common, &page));
        for (HWND next = ::GetWindow(one, GW_HWNDNEXT); next != nullptr;
             next = ::GetWindow(next, GW_HWNDNEXT)) {
            RECT other{};
            ::GetWindowRect(next, &other);
            CHECK_FALSE(::IntersectRect(&common, &place, &other));
        }
    }
    CHECK(controls == 12);
}

TEST_CASE("sliding and typing change the effect at once, and wrong text is put right") {
    const CEchoModule module;
    const CPageRig rig(module);
    for (DWORD n = 0; n < kEchoParameters; ++n) {
        CAPTURE(n);
        CHECK(rig.Position(n) == kEchoRanges[n].initial);
        CHECK(rig.Text(n) == std::to_wstring(kEchoRanges[n].initial));
        rig.Slide(n, kEchoRanges[n].most);
        CHECK(rig.Value(n) == kEchoRanges[n].most);
        CHECK(rig.Text(n) == std::to_wstring(kEchoRanges[n].most));
        rig.Slide(n, -5); // the slider itself stops at the least
        CHECK(rig.Value(n) == kEchoRanges[n].least);
        rig.Type(n, "77");
        CHECK(rig.Value(n) == 77);
        CHECK(rig.Position(n) == 77);
        for (const char* const wrong : {"9999", "x", ""}) {
            rig.Type(n, wrong);
            const LONG kept = rig.Value(n);
            ::SetFocus(rig.Slider(n));
            CHECK(rig.Text(n) == std::to_wstring(kept));
            CHECK(rig.Position(n) == kept);
            CHECK(kEchoRanges[n].Holds(kept));
        }
        ::SetFocus(rig.Slider(n));
        const LONG before = rig.Value(n);
        ::SendMessageW(rig.Slider(n), WM_KEYDOWN, VK_RIGHT, 1);
        CHECK(rig.Value(n) == before + 1);
        CHECK(::GetNextDlgTabItem(rig.m_dialog, rig.Slider(n), FALSE) == rig.Edit(n));
    }
    CHECK(rig.m_page->IsPageDirty() == S_FALSE);
    CHECK(rig.m_page->Apply() == S_OK);
}

TEST_CASE("the page takes misuse: no objects, no activation, twice, and a parent that goes first") {
    const CEchoModule module;
    const auto idle = module.Create<IPropertyPage>(kEchoPageClsid, IID_IPropertyPage);
    const RECT area{0, 0, 10, 10};
    CHECK(idle->Deactivate() == S_OK);
    CHECK(FAILED(idle->Activate(::GetDesktopWindow(), &area, FALSE)));
    CHECK(FAILED(idle->Show(SW_SHOW)));
    IUnknown* notAnEcho[] = {idle.Get()};
    CHECK(idle->SetObjects(1, notAnEcho) == E_NOINTERFACE);
    {
        CPageRig rig(module);
        CHECK(rig.m_page->Activate(rig.m_parent, &area, FALSE) == E_UNEXPECTED);
        CHECK(rig.m_page->SetObjects(0, nullptr) == S_OK);
        rig.Slide(kEchoDelay, 5);
        CHECK(rig.Value(kEchoDelay) == kEchoRanges[kEchoDelay].initial);
        CHECK(rig.m_echo.Reset() == 0);
        CHECK(rig.m_page->Deactivate() == S_OK);
        CHECK_FALSE(::IsWindow(rig.m_dialog));
        CHECK(rig.m_page->Deactivate() == S_OK);
    }
    CPageRig rig(module);
    ::DestroyWindow(rig.m_parent);
    CHECK(rig.m_page->Move(&area) == E_UNEXPECTED);
    CHECK(rig.m_page->Deactivate() == S_OK);
}
