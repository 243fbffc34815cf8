#pragma once

#include "config/ISettingsOwner.h"
#include "xui/XButton.h"
#include "xui/XReturnKey.h"
#include "xui/XToolTip.h"
#include "xui/XToolTipHelper.h"
#include "xui/XWindow.h"

#include <windows.h>

#include <vector>

/// The settings panel in the host's window: picks one effect of PlugInList, searches for effects again, shows
/// and hides the chosen one's page, opens the help. It stores nothing and shows no message box.
/// Threads: the one that runs the host's window; UncheckEditorButton, Close and the destructor any.
class frmDSPSettings : public XWindow {
public:
    /// The first one in the process makes the mutex of PlugInListLock.
    frmDSPSettings();
    /// Takes the panel down without calling the owner, which is going as well.
    ~frmDSPSettings() override;
    void OnCreate() override;
    void OnDestroy() override;
    LRESULT OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, BOOL* handled) override;

    /// owner: borrowed, for the form's whole life.
    void SetOwner(ISettingsOwner* owner) { m_owner = owner; }
    /// Makes the panel as a child of `parent`, its upper left corner at (x, y) in client pixels; one that is
    /// shown is taken down first. Opens the scanner when no list of effects is stored. Returns the panel's
    /// window, or null.
    HWND Create(HWND parent, int x, int y);
    /// Takes the editor and then the panel down; nothing happens without a panel.
    void Close();
    /// The editor has closed: its button is released, if there is one. Does not wait for another thread.
    void UncheckEditorButton();

    /// Fills the combo box from PlugInList; the data of each item is its index there.
    void FillPlugInCombo();
    /// Selects the owner's effect. One that is not in PlugInList is disconnected.
    void SelectCurrentPlugIn();

private:
    /// Opens the help page, which belongs to the host's installation.
    class _cmdHelp : public XButton {
    public:
        ~_cmdHelp() override { Detach(); }
        void OnClick(std::uint32_t unused) override;
    };

    void CreateHelpButton();
    void SetUpButton(XReturnKey& returnKey, int id, HICON icon);
    void AddToolTip(XToolTip& toolTip, int id, const wchar_t* text);
    void EndToolTips();
    /// Shows a class identifier's effect as the selected one. False, and nothing selected, when it is not in
    /// the list.
    bool ShowSelected(const GUID& clsid);
    /// Index into PlugInList of the effect that the combo box shows, or -1. With PlugInListLock held.
    int SelectedPlugIn() const;
    bool ConnectSelected();
    void OnCommandOf(WORD id, WORD notification);
    void OnSelected();
    void OnRescan();
    void OnEditorToggle();
    /// Puts the controls back: while the effect is being called nothing of it can be changed.
    void UndoWhileBusy(WORD id);
    bool EditorButtonIsChecked() const;
    void EnableEditorButton(bool enabled);
    void CheckEditorButton(bool checked);

    POINT m_position{}; // client pixels of the host's window
    XToolTipHelper m_tooltip;
    _cmdHelp cmdHelp;
    ISettingsOwner* m_owner = nullptr;
    std::vector<GUID> m_shown; // the effects in the combo box, by item data
    XReturnKey m_rescanKey;
    XReturnKey m_editorKey;
    XToolTip m_rescanTip;
    XToolTip m_effectsTip;
    XToolTip m_editorTip;
};
