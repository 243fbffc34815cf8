#pragma once

#include "config/CStructArray.h"

#include <windows.h>

/// The scanner: a modal dialog that lists the candidates on this machine, tries the ticked ones, and puts
/// those that work into a list. Thread: the one that calls DoModal; COM must be initialised there.
class CEnumDlg {
public:
    CEnumDlg();
    virtual ~CEnumDlg() = default;
    CEnumDlg(const CEnumDlg&) = delete;
    CEnumDlg& operator=(const CEnumDlg&) = delete;

    /// Runs the dialog. `target` (of PlugInElem) is rebuilt by the button Scan, in the order of the rows, and
    /// stays as it is otherwise. Returns 1 after Scan, 2 after Cancel, 0 after the close box, -1 when it
    /// could not be shown.
    INT_PTR DoModal(HWND owner, WORD templateId, CStructArray& target);

private:
    static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    static int CALLBACK CompareRows(LPARAM left, LPARAM right, LPARAM self);

    void OnInit();
    INT_PTR OnCommand(WORD id);
    void AddRow(int candidate);
    void Scan();
    /// Index of the candidate that a row shows, or -1.
    int CandidateAt(int row) const;
    void ShowTried(int row);
    bool IsTicked(int row) const;
    void Tick(int row, bool on);
    void TickAll(bool on);

    HWND m_window = nullptr;
    HWND m_rows = nullptr;
    CStructArray* m_target = nullptr;
    bool m_scanning = false; ///< a candidate that takes messages must not get at the buttons
    CStructArray m_candidates;
};
