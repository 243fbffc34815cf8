#include "config/CEnumDlg.h"

#include "config/PlugInElem.h"
#include "config/candidates.h"
#include "config/test_candidate.h"
#include "resources/resource.h"
#include "support/module.h"
#include "support/text.h"

#include <commctrl.h>
#include <exception>

namespace {

constexpr int kGrowRecords = 16;
constexpr DWORD kShowTriedMs = 50; // so that a person sees which filter is being tried
constexpr UINT kUnticked = 1;      // state images of a list view with check boxes
constexpr UINT kTicked = 2;

} // namespace

CEnumDlg::CEnumDlg() : m_candidates(sizeof(PlugInElem), kGrowRecords) {}

INT_PTR CEnumDlg::DoModal(HWND owner, WORD templateId, CStructArray& target) {
    m_target = &target;
    ::InitCommonControls();
    return ::DialogBoxParamW(
        ModuleHandle(), MAKEINTRESOURCEW(templateId), owner, DialogProc, reinterpret_cast<LPARAM>(this));
}

INT_PTR CALLBACK CEnumDlg::DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG) {
        ::SetWindowLongW(window, DWLP_USER, static_cast<LONG>(lParam));
        auto* const dialog = reinterpret_cast<CEnumDlg*>(lParam);
        dialog->m_window = window;
        dialog->OnInit();
        return FALSE;
    }
    auto* const dialog = reinterpret_cast<CEnumDlg*>(::GetWindowLongW(window, DWLP_USER));
    if (dialog == nullptr)
        return FALSE;
    if (message == WM_COMMAND)
        return dialog->OnCommand(LOWORD(wParam));
    if (message == WM_SYSCOMMAND && (wParam & 0xFFF0) == SC_CLOSE) { // the lower bits are the system's
        if (!dialog->m_scanning)
            ::EndDialog(window, 0);
        return TRUE;
    }
    return FALSE;
}

void CEnumDlg::OnInit() {
    m_rows = ::GetDlgItem(m_window, IDC_CANDIDATES);
    ListView_SetExtendedListViewStyle(m_rows, LVS_EX_CHECKBOXES);
    RECT client{};
    ::GetClientRect(m_rows, &client);
    wchar_t heading[] = L"Candidates";
    LVCOLUMNW column{};
    column.mask = LVCF_FMT | LVCF_WIDTH | LVCF_TEXT;
    column.fmt = LVCFMT_LEFT;
    column.cx = client.right - client.left - ::GetSystemMetrics(SM_CXVSCROLL);
    column.pszText = heading;
    ListView_InsertColumn(m_rows, 0, &column);

    EnumCandidates(m_candidates);
    for (int i = 0; i < m_candidates.GetCount(); ++i)
        AddRow(i);
    ListView_SortItems(m_rows, CompareRows, reinterpret_cast<LPARAM>(this));
}

void CEnumDlg::AddRow(int candidate) {
    try {
        const PlugInElem& shown = *PlugInAt(m_candidates, candidate);
        std::wstring text = AnsiToWide(shown.name);
        LVITEMW item{};
        item.mask = LVIF_TEXT | LVIF_PARAM;
        item.iItem = candidate;
        item.pszText = text.data();
        item.lParam = candidate;
        const int row = ListView_InsertItem(m_rows, &item);
        if (row >= 0)
            Tick(row, !m_target->HasElements() || FindPlugIn(*m_target, shown.clsid) >= 0);
    } catch (const std::exception&) {
        // Out of memory: a candidate that isn't shown isn't tried.
    }
}

int CALLBACK CEnumDlg::CompareRows(LPARAM left, LPARAM right, LPARAM self) {
    const CStructArray& candidates = reinterpret_cast<const CEnumDlg*>(self)->m_candidates;
    return CompareNames(
        *PlugInAt(candidates, static_cast<int>(left)), *PlugInAt(candidates, static_cast<int>(right)));
}

INT_PTR CEnumDlg::OnCommand(WORD id) {
    if (m_scanning)
        return TRUE;
    switch (id) {
    case IDOK:
        Scan();
        ::EndDialog(m_window, IDOK);
        return TRUE;
    case IDCANCEL:
        ::EndDialog(m_window, IDCANCEL);
        return TRUE;
    case IDC_ALL:
    case IDC_NONE:
        TickAll(id == IDC_ALL);
        return TRUE;
    default:
        return FALSE;
    }
}

void CEnumDlg::Scan() {
    m_scanning = true;
    m_target->Clear();
    for (int row = 0; row < m_candidates.GetCount(); ++row) {
        PlugInElem* const candidate = PlugInAt(m_candidates, CandidateAt(row));
        if (!IsTicked(row) || candidate == nullptr)
            continue;
        ShowTried(row);
        if (TestCandidate(candidate->clsid))
            m_target->Append(*candidate);
        else
            Tick(row, false);
    }
    m_scanning = false;
}

int CEnumDlg::CandidateAt(int row) const {
    LVITEMW item{};
    item.mask = LVIF_PARAM;
    item.iItem = row;
    return ListView_GetItem(m_rows, &item) ? static_cast<int>(item.lParam) : -1;
}

void CEnumDlg::ShowTried(int row) {
    constexpr UINT kHere = LVIS_SELECTED | LVIS_FOCUSED;
    ListView_SetItemState(m_rows, row, kHere, kHere);
    ListView_EnsureVisible(m_rows, row, FALSE);
    ::UpdateWindow(m_rows);
    ::Sleep(kShowTriedMs);
}

bool CEnumDlg::IsTicked(int row) const {
    return ListView_GetItemState(m_rows, row, LVIS_STATEIMAGEMASK) != INDEXTOSTATEIMAGEMASK(kUnticked);
}

void CEnumDlg::Tick(int row, bool on) {
    ListView_SetItemState(m_rows, row, INDEXTOSTATEIMAGEMASK(on ? kTicked : kUnticked), LVIS_STATEIMAGEMASK);
}

void CEnumDlg::TickAll(bool on) {
    const int rows = ListView_GetItemCount(m_rows);
    for (int row = 0; row < rows; ++row)
        Tick(row, on);
}
