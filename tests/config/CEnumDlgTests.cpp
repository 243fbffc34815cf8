// The test run of candidates and the scanner's dialog, driven through its window as a person does.

#include "config/CEnumDlg.h"

#include "config/PlugInElem.h"
#include "config/PlugInList.h"
#include "config/candidates.h"
#include "config/test_candidate.h"
#include "resources/resource.h"
#include "support/text.h"
#include "tests/config/CScannerPerson.h"
#include "tests/config/CStoredList.h"
#include "tests/effects/CRegisteredFilters.h"
#include "tests/effects/CTestEffects.h"

#include <doctest/doctest.h>
#include <commctrl.h>
#include <algorithm>
#include <functional>
#include <vector>

namespace {

constexpr wchar_t kKey[] = L"Software\\Orvelle\\DXWrapper";
constexpr GUID kSecond = {0x11111111, 1, 1, {1, 1, 1, 1, 1, 1, 1, 1}};

struct List : CStructArray {
    List() : CStructArray(sizeof(PlugInElem), 16) {}
    bool Has(const char* name) const {
        for (int i = 0; i < GetCount(); ++i)
            if (std::string(PlugInAt(*this, i)->name) == name)
                return true;
        return false;
    }
};

INT_PTR Show(CStructArray& list, std::function<void(HWND)> person) {
    const CScannerPerson acting(std::move(person));
    return CEnumDlg().DoModal(nullptr, IDD_SCANNER, list);
}

void Press(HWND dialog, int id) {
    ::SendMessageW(::GetDlgItem(dialog, id), BM_CLICK, 0, 0);
}

// The rows' names, "+" before those that are ticked.
std::vector<std::string> Rows(HWND dialog) {
    std::vector<std::string> rows;
    HWND const list = ::GetDlgItem(dialog, IDC_CANDIDATES);
    for (int i = 0; i < ListView_GetItemCount(list); ++i) {
        wchar_t text[64] = L"";
        ListView_GetItemText(list, i, 0, text, 64);
        rows.push_back((ListView_GetCheckState(list, i) ? "+" : "-") + WideToAnsi(text));
    }
    return rows;
}

bool Holds(const std::vector<std::string>& rows, const char* row) {
    return std::find(rows.begin(), rows.end(), row) != rows.end();
}

} // namespace

TEST_CASE(
    "a candidate is refused for the reason that there is, and the next one is tested in a clean graph") {
    const struct {
        std::string name;
        void (*plan)(TestEffectPlan&);
        CandidateStep step;
    } rows[] = {
        {"usable", [](TestEffectPlan&) {}, CandidateStep::Passed},
        {"not creatable", [](TestEffectPlan& plan) { plan.place = Place::CreateEffect; },
            CandidateStep::Create},
        {"no page", [](TestEffectPlan& plan) { plan.pages = 0; }, CandidateStep::Pages},
        {"two pages", [](TestEffectPlan& plan) { plan.pages = 2; }, CandidateStep::Pages},
        {"no pins", [](TestEffectPlan& plan) { plan.place = Place::EnumPins; }, CandidateStep::Join},
        {"refuses the input", [](TestEffectPlan& plan) { plan.place = Place::ReceiveConnection; },
            CandidateStep::Input},
        {"does not start", [](TestEffectPlan& plan) { plan.place = Place::Pause; }, CandidateStep::Run},
        {"no frames", [](TestEffectPlan& plan) { plan.frames = Frames::None; }, CandidateStep::Process},
    };
    const CComApartment com;
    CTestEffects effects;
    for (const auto& row : rows) {
        CAPTURE(row.name);
        effects.Reset();
        effects.Plan().fault = Fault::Fail;
        row.plan(effects.Plan());
        const CandidateVerdict verdict = TryCandidate(CLSID_TestEffect);
        CHECK((verdict.step == row.step && verdict.fault == 0));
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

TEST_CASE("the scanner shows sorted rows, ticks what is in the list, and rebuilds it from what passes") {
    const CComApartment com;
    CTestEffects effects;
    CRegisteredFilters registered;
    registered.Add(CLSID_TestEffect, {L"Tested effect"});
    registered.Add(kSecond, {L"a missing effect"});
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

TEST_CASE("a damaged store leads to the scanner, an empty list does not") {
    const CComApartment com;
    PlugInListLock.Create();
    int shown = 0;
    const auto load = [&] {
        const CScannerPerson person([&](HWND dialog) {
            ++shown;
            Press(dialog, IDCANCEL);
        });
        LoadPlugInList(nullptr);
    };
    const CStoredList stored{{CLSID_TestEffect, "kept"}};
    BYTE blob[64];
    DWORD bytes = sizeof blob;
    ::RegGetValueW(HKEY_CURRENT_USER, kKey, L"DXList", RRF_RT_ANY, nullptr, blob, &bytes);
    blob[0] = 2; // a record more than there is
    ::RegSetKeyValueW(HKEY_CURRENT_USER, kKey, L"DXList", REG_BINARY, blob, bytes);
    load();
    CHECK((shown == 1 && PlugInList.GetCount() == 1));
    load(); // Cancel stored what was kept
    CHECK((shown == 1 && PlugInList.GetCount() == 1));
    PlugInList.Clear();
    StorePlugIns(PlugInList);
    load();
    CHECK((shown == 1 && !PlugInList.HasElements()));
}
