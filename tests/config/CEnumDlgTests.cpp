// The test run of candidates and the scanner's dialog, driven through its window as a person does.

#include "config/CEnumDlg.h"

#include "config/PlugInElem.h"
#include "config/PlugInList.h"
#include "config/candidates.h"
#include "config/plugin_store.h"
#include "config/test_candidate.h"
#include "resources/resource.h"
#include "support/com.h"
#include "tests/effects/CTestEffects.h"

#include <doctest/doctest.h>
#include <commctrl.h>
#include <dshow.h>
#include <wrl/client.h>
#include <functional>
#include <vector>

using Microsoft::WRL::ComPtr;

namespace {

constexpr GUID kSecond = {0x11111111, 1, 1, {1, 1, 1, 1, 1, 1, 1, 1}};

// Makes a filter known to the platform's mapper under a name, for a scope.
class CRegisteredFilter {
public:
    CRegisteredFilter(const GUID& clsid, const wchar_t* name) : m_clsid(clsid) {
        REGPINTYPES pcm{&MEDIATYPE_Audio, &MEDIASUBTYPE_PCM};
        wchar_t pinName[] = L"";
        const REGFILTERPINS pins[] = {{pinName, FALSE, FALSE, FALSE, FALSE, nullptr, nullptr, 1, &pcm},
            {pinName, FALSE, TRUE, FALSE, FALSE, nullptr, nullptr, 1, &pcm}};
        REGFILTER2 filter{};
        filter.dwVersion = 1;
        filter.dwMerit = MERIT_DO_NOT_USE + 1;
        filter.cPins = 2;
        filter.rgPins = pins;
        REQUIRE(SUCCEEDED(Mapper()->RegisterFilter(clsid, name, nullptr, nullptr, nullptr, &filter)));
    }
    ~CRegisteredFilter() { Mapper()->UnregisterFilter(nullptr, nullptr, m_clsid); }
    CRegisteredFilter(const CRegisteredFilter&) = delete;
    CRegisteredFilter& operator=(const CRegisteredFilter&) = delete;

private:
    static ComPtr<IFilterMapper2> Mapper() {
        ComPtr<IFilterMapper2> mapper;
        ::CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mapper));
        return mapper;
    }
    const GUID m_clsid;
};

struct List : CStructArray {
    List() : CStructArray(sizeof(PlugInElem), 16) {}
    bool Has(const char* name) const {
        for (int i = 0; i < GetCount(); ++i)
            if (std::string(PlugInAt(*this, i)->name) == name)
                return true;
        return false;
    }
};

// What a test does with the dialog once it is shown, on the dialog's own thread.
std::function<void(HWND)> g_person;

void CALLBACK ActAsPerson(HWND, UINT, UINT_PTR timer, DWORD) {
    HWND const dialog = ::FindWindowW(nullptr, L"Scan for DirectX PlugIns");
    if (dialog == nullptr || !::IsWindowVisible(dialog))
        return;
    ::KillTimer(nullptr, timer);
    g_person(dialog);
}

template <typename Action>
auto WithPerson(std::function<void(HWND)> person, Action&& action) {
    g_person = std::move(person);
    ::SetTimer(nullptr, 0, 20, ActAsPerson);
    return action();
}

INT_PTR Show(CStructArray& list, std::function<void(HWND)> person) {
    return WithPerson(std::move(person), [&] { return CEnumDlg().DoModal(nullptr, IDD_SCANNER, list); });
}

void Press(HWND dialog, int id) {
    ::SendMessageW(::GetDlgItem(dialog, id), BM_CLICK, 0, 0);
}

std::string Row(HWND dialog, int row) {
    wchar_t text[64] = L"";
    HWND const rows = ::GetDlgItem(dialog, IDC_CANDIDATES);
    ListView_GetItemText(rows, row, 0, text, 64);
    std::string narrow = ListView_GetCheckState(rows, row) ? "+" : "-";
    for (const wchar_t* unit = text; *unit != 0; ++unit)
        narrow += static_cast<char>(*unit);
    return narrow;
}

std::vector<std::string> Rows(HWND dialog) {
    std::vector<std::string> rows;
    for (int i = 0; i < ListView_GetItemCount(::GetDlgItem(dialog, IDC_CANDIDATES)); ++i)
        rows.push_back(Row(dialog, i));
    return rows;
}

bool Holds(const std::vector<std::string>& rows, const char* row) {
    return std::find(rows.begin(), rows.end(), row) != rows.end();
}

} // namespace

TEST_CASE(
    "a candidate is refused for the reason that there is, and the next one is tested in a clean graph") {
    struct Refusal {
        std::string name;
        void (*plan)(TestEffectPlan&);
        CandidateStep step;
    };
    const Refusal rows[] = {
        {"usable", [](TestEffectPlan&) {}, CandidateStep::Passed},
        {"mono output", [](TestEffectPlan& plan) { plan.monoOutput = true; }, CandidateStep::Passed},
        {"not creatable", [](TestEffectPlan& plan) { plan.place = Place::CreateEffect; },
            CandidateStep::Create},
        {"no page", [](TestEffectPlan& plan) { plan.pages = 0; }, CandidateStep::Pages},
        {"two pages", [](TestEffectPlan& plan) { plan.pages = 2; }, CandidateStep::Pages},
        {"no pins", [](TestEffectPlan& plan) { plan.place = Place::EnumPins; }, CandidateStep::Join},
        {"refuses the input", [](TestEffectPlan& plan) { plan.place = Place::ReceiveConnection; },
            CandidateStep::Input},
        {"does not start", [](TestEffectPlan& plan) { plan.place = Place::Pause; }, CandidateStep::Run},
        {"fewer frames", [](TestEffectPlan& plan) { plan.frames = Frames::Fewer; }, CandidateStep::Process},
        {"no frames", [](TestEffectPlan& plan) { plan.frames = Frames::None; }, CandidateStep::Process},
    };
    const CComApartment com;
    CTestEffects effects;
    for (const Refusal& row : rows) {
        CAPTURE(row.name);
        effects.Reset();
        effects.Plan().fault = Fault::Fail;
        row.plan(effects.Plan());
        const CandidateVerdict verdict = TryCandidate(CLSID_TestEffect);
        CHECK((verdict.step == row.step));
        CHECK(verdict.fault == 0);
        CHECK(verdict.pages == (verdict.step == CandidateStep::Create ? 0 : effects.Plan().pages));
        CHECK(effects.Record().liveObjects == 0);
    }
    CHECK(TryCandidate(CLSID_TestEffect).framesGiven == 0); // the last plan still
    for (const Place place :
        {Place::CreateEffect, Place::GetPages, Place::ReceiveConnection, Place::Receive, Place::Stop}) {
        CAPTURE(static_cast<int>(place));
        effects.Reset();
        effects.Plan().place = place;
        effects.Plan().fault = Fault::WriteViolation;
        const CandidateVerdict verdict = TryCandidate(CLSID_TestEffect);
        CHECK(verdict.Passed() == (place == Place::Stop && verdict.fault == 0));
        CHECK((verdict.Passed() || verdict.fault == DWORD{EXCEPTION_ACCESS_VIOLATION}));
        effects.Reset();
        CHECK(TestCandidate(CLSID_TestEffect));
    }
}

TEST_CASE("candidates are the filters for PCM audio, without wrappers of other formats and synthesizers") {
    const CComApartment com;
    List candidates;
    {
        const CRegisteredFilter wrapper(CLSID_TestEffect, L"VST thing");
        const CRegisteredFilter plain(kSecond, L"vst thing");
        EnumCandidates(candidates);
        CHECK_FALSE(candidates.Has("VST thing"));
        CHECK(candidates.Has("vst thing"));
        CHECK(candidates.Has("SampleGrabber"));
        wchar_t key[80] = L"Software\\Classes\\MfxSoftSynths\\";
        ::StringFromGUID2(kSecond, key + wcslen(key), 40);
        HKEY made = nullptr;
        ::RegCreateKeyW(HKEY_LOCAL_MACHINE, key, &made);
        ::RegCloseKey(made);
        EnumCandidates(candidates);
        CHECK_FALSE(candidates.Has("vst thing"));
        ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, key);
    }
    const int grabber = [&] {
        for (int i = 0; i < candidates.GetCount(); ++i)
            if (std::string(PlugInAt(candidates, i)->name) == "SampleGrabber")
                return i;
        return -1;
    }();
    REQUIRE(grabber >= 0);
    const CandidateVerdict verdict = TryCandidate(PlugInAt(candidates, grabber)->clsid);
    CHECK((verdict.step == CandidateStep::Pages));
    CHECK(verdict.pages == 0);
}

TEST_CASE("the scanner shows sorted rows, ticks what is in the list, and rebuilds it from what passes") {
    const CComApartment com;
    CTestEffects effects;
    const CRegisteredFilter tested(CLSID_TestEffect, L"Tested effect");
    const CRegisteredFilter missing(kSecond, L"a missing effect");
    List list;
    std::vector<std::string> before;
    std::vector<std::string> after;
    const INT_PTR scanned = Show(list, [&](HWND dialog) {
        HWND const rows = ::GetDlgItem(dialog, IDC_CANDIDATES);
        RECT client{};
        ::GetClientRect(rows, &client);
        CHECK(ListView_GetColumnWidth(rows, 0) == client.right - ::GetSystemMetrics(SM_CXVSCROLL));
        before = Rows(dialog);
        Press(dialog, IDC_NONE);
        CHECK(Holds(Rows(dialog), "-Tested effect"));
        Press(dialog, IDC_ALL);
        ::SetFocus(rows);
        ListView_SetItemState(rows, 0, LVIS_FOCUSED | LVIS_SELECTED, LVIS_FOCUSED | LVIS_SELECTED);
        ::SendMessageW(rows, WM_KEYDOWN, VK_SPACE, 0);
        after = Rows(dialog);
        ::PostMessageW(dialog, WM_COMMAND, IDOK, 0);
    });
    CHECK(scanned == IDOK);
    CHECK(Holds(before, "+a missing effect"));
    CHECK(Holds(before, "+Tested effect"));
    CHECK(before.front() == "+a missing effect"); // before "ACM Wrapper" without regard to case
    CHECK(after.front() == "-a missing effect");
    CHECK(list.Has("Tested effect"));
    CHECK_FALSE(list.Has("a missing effect"));
    CHECK_FALSE(list.Has("SampleGrabber"));
    const int found = list.GetCount();

    for (const int how : {IDCANCEL, 0}) {
        const INT_PTR ended = Show(list, [&](HWND dialog) {
            before = Rows(dialog);
            Press(dialog, IDC_NONE);
            if (how == 0)
                ::PostMessageW(dialog, WM_SYSCOMMAND, SC_CLOSE, 0);
            else
                Press(dialog, IDCANCEL);
        });
        CHECK(ended == how);
        CHECK(Holds(before, "+Tested effect"));
        CHECK(Holds(before, "-SampleGrabber"));
        CHECK(list.GetCount() == found);
    }
    Show(list, [&](HWND dialog) {
        Press(dialog, IDC_NONE);
        ::PostMessageW(dialog, WM_COMMAND, IDOK, 0);
    });
    CHECK(list.GetCount() == 0);
}

TEST_CASE("a candidate that crashes is unticked, and the one after it is still found") {
    const CComApartment com;
    CTestEffects effects;
    effects.Plan().place = Place::Receive;
    effects.Plan().fault = Fault::ReadViolation;
    const CRegisteredFilter tested(CLSID_TestEffect, L"Tested effect");
    List list;
    Show(list, [](HWND dialog) { ::PostMessageW(dialog, WM_COMMAND, IDOK, 0); });
    CHECK(effects.Calls(Place::Receive) == 1);
    CHECK_FALSE(list.Has("Tested effect"));
}

TEST_CASE("a missing or damaged store leads to the scanner, an empty list does not") {
    const CComApartment com;
    PlugInListLock.Create();
    ::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\Orvelle\\DXWrapper");
    int shown = 0;
    const auto cancel = [&](HWND dialog) {
        ++shown;
        Press(dialog, IDCANCEL);
    };
    WithPerson(cancel, [] { LoadPlugInList(nullptr); });
    CHECK(shown == 1);
    LoadPlugInList(nullptr); // stored now, and empty
    CHECK(shown == 1);
    CHECK_FALSE(PlugInList.HasElements());

    PlugInElem plugIn;
    plugIn.clsid = CLSID_TestEffect;
    plugIn.name = CopyName("kept");
    PlugInList.Append(plugIn);
    StorePlugIns(PlugInList);
    HKEY key = nullptr;
    ::RegOpenKeyW(HKEY_CURRENT_USER, L"Software\\Orvelle\\DXWrapper", &key);
    BYTE blob[64];
    DWORD bytes = sizeof blob;
    ::RegQueryValueExW(key, L"DXList", nullptr, nullptr, blob, &bytes);
    blob[0] = 2; // a record more than there is
    ::RegSetValueExW(key, L"DXList", 0, REG_BINARY, blob, bytes);
    WithPerson(cancel, [] { LoadPlugInList(nullptr); });
    CHECK(shown == 2);
    CHECK(PlugInList.GetCount() == 1);
    blob[0] = 0;
    ::RegQueryValueExW(key, L"DXList", nullptr, nullptr, blob, &bytes);
    CHECK(blob[0] == 1); // Cancel stored what was kept
    ::RegCloseKey(key);
    PlugInList.Clear();
    ::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\Orvelle\\DXWrapper");
}
