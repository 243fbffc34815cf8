#include "config/frmDSPSettings.h"

#include "config/PlugInElem.h"
#include "config/PlugInList.h"
#include "config/form_icons.h"
#include "resources/resource.h"
#include "support/module.h"
#include "support/text.h"

#include <shellapi.h>

#include <exception>
#include <optional>
#include <string>

namespace {

constexpr DWORD kSampleRate = 44100; // of the effect while it is configured
constexpr int kHelpLeftDialogUnits = 284;
constexpr int kHelpPixels = 24; // at 96 dpi
constexpr XButtonColours kHelpGreys{0, 0xBEBEBE, 0xD7D7D7};
constexpr DWORD kLongestPath = 1000; // characters
constexpr wchar_t kHelpPage[] = L"Help\\TVC\\dsp.htm";

int ScaledByVerticalDpi(int value) {
    const HDC screen = ::GetDC(nullptr);
    const int dpi = ::GetDeviceCaps(screen, LOGPIXELSY);
    ::ReleaseDC(nullptr, screen);
    return XWindow::ScaleForDpi(value, dpi);
}

bool HasPlugIns() {
    const CLockObj lock(&PlugInListLock);
    return PlugInList.HasElements();
}

// An empty string for a name that can't be converted now: the effect can still be picked.
std::wstring DisplayName(const PlugInElem& effect) {
    try {
        return AnsiToWide(effect.name);
    } catch (const std::exception&) {
        return {};
    }
}

} // namespace

frmDSPSettings::frmDSPSettings() {
    static const bool made = PlugInListLock.Create();
    static_cast<void>(made); // without a mutex the list goes unguarded
}

frmDSPSettings::~frmDSPSettings() {
    m_owner = nullptr;
    EndToolTips();
    DestroyNativeWindow(); // here, where OnDestroy is still this class's
}

HWND frmDSPSettings::Create(HWND parent, int x, int y) {
    Close();
    m_position = {x, y};
    CreateFromTemplate(IDD_SETTINGS, parent, FALSE, ModuleHandle());
    return Window();
}

void frmDSPSettings::Close() {
    if (Window() == nullptr)
        return;
    if (m_owner != nullptr)
        m_owner->CloseEditor();
    EndToolTips();
    DestroyNativeWindow();
}

void frmDSPSettings::OnCreate() {
    m_tooltip.Attach(Window());
    CreateHelpButton();
    MoveTo(m_position.x, m_position.y, kKeep, kKeep);
    SetUpButton(m_rescanKey, IDC_RESCAN, g_formIcons.rescan);
    SetUpButton(m_editorKey, IDC_EDITOR_TOGGLE, g_formIcons.editor);
    EnableEditorButton(false);
    AddToolTip(m_rescanTip, IDC_RESCAN, L"Search this computer for effects again");
    AddToolTip(m_effectsTip, IDC_EFFECTS, L"The effect to use");
    AddToolTip(m_editorTip, IDC_EDITOR_TOGGLE, L"Show or hide the effect's controls");
    const HWND window = Window();
    if (!HasPlugIns())
        LoadPlugInList(window);
    if (Window() != window) // the host has taken the panel down while the scanner was open
        return;
    FillPlugInCombo();
    SelectCurrentPlugIn();
    const CLockObj lock(&PlugInListLock);
    if (SelectedPlugIn() >= 0)
        EnableEditorButton(true);
}

void frmDSPSettings::OnDestroy() {
    EndToolTips();
    m_handled = FALSE;
}

void frmDSPSettings::CreateHelpButton() {
    const int size = ScaledByVerticalDpi(kHelpPixels);
    XButtonColours colours = kHelpGreys;
    colours.face = ::GetSysColor(COLOR_BTNFACE);
    if (cmdHelp.Create(Window(), IDC_HELP_BUTTON, L"?", DialogUnitsToPixelsX(kHelpLeftDialogUnits), 0, size,
            size, colours, L"Help", L"Opens the help page"))
        m_tooltip.Register(cmdHelp);
}

void frmDSPSettings::SetUpButton(XReturnKey& returnKey, int id, HICON icon) {
    const HWND button = GetItem(id);
    ::SendMessageW(button, BM_SETIMAGE, IMAGE_ICON, reinterpret_cast<LPARAM>(icon));
    returnKey.Attach(button);
}

void frmDSPSettings::AddToolTip(XToolTip& toolTip, int id, const wchar_t* text) {
    XToolTipItem item;
    item.text = text;
    item.colour = ::GetSysColor(COLOR_INFOTEXT);
    XToolTipOptions options;
    options.owner = GetItem(id);
    options.ownerBound = true;
    toolTip.Activate({item}, options);
}

void frmDSPSettings::EndToolTips() {
    m_tooltip.Detach();
    for (XToolTip* const toolTip : {&m_rescanTip, &m_effectsTip, &m_editorTip})
        toolTip->Deactivate();
}

void frmDSPSettings::UncheckEditorButton() {
    ::SendNotifyMessageW(GetItem(IDC_EDITOR_TOGGLE), BM_SETCHECK, BST_UNCHECKED, 0);
}

void frmDSPSettings::EnableEditorButton(bool enabled) {
    ::EnableWindow(GetItem(IDC_EDITOR_TOGGLE), enabled);
}

void frmDSPSettings::CheckEditorButton(bool checked) {
    ::SendMessageW(GetItem(IDC_EDITOR_TOGGLE), BM_SETCHECK,
        static_cast<WPARAM>(checked ? BST_CHECKED : BST_UNCHECKED), 0);
}

void frmDSPSettings::FillPlugInCombo() {
    const CLockObj lock(&PlugInListLock);
    const HWND combo = GetItem(IDC_EFFECTS);
    ::SendMessageW(combo, CB_RESETCONTENT, 0, 0);
    m_shown.clear();
    for (int i = 0; i < PlugInList.GetCount(); ++i) {
        const PlugInElem& effect = *PlugInAt(PlugInList, i);
        m_shown.push_back(effect.clsid);
        const std::wstring name = DisplayName(effect);
        const LRESULT position =
            ::SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(name.c_str()));
        if (position >= 0)
            ::SendMessageW(combo, CB_SETITEMDATA, static_cast<WPARAM>(position), i);
    }
}

// The combo box may sort in another order than the list: the item data says which is which. Another panel may
// have made the list anew since this one was filled: then the class identifier does.
int frmDSPSettings::SelectedPlugIn() const {
    const HWND combo = GetItem(IDC_EFFECTS);
    const LRESULT position = ::SendMessageW(combo, CB_GETCURSEL, 0, 0);
    if (combo == nullptr || position < 0)
        return -1;
    const auto index =
        static_cast<std::size_t>(::SendMessageW(combo, CB_GETITEMDATA, static_cast<WPARAM>(position), 0));
    if (index >= m_shown.size())
        return -1;
    const PlugInElem* const effect = PlugInAt(PlugInList, static_cast<int>(index));
    const bool unchanged = effect != nullptr && effect->clsid == m_shown[index];
    return unchanged ? static_cast<int>(index) : FindPlugIn(PlugInList, m_shown[index]);
}

bool frmDSPSettings::ShowSelected(const GUID& clsid) {
    const HWND combo = GetItem(IDC_EFFECTS);
    ::SendMessageW(combo, CB_SETCURSEL, static_cast<WPARAM>(-1), 0);
    const int index = FindPlugIn(PlugInList, clsid);
    const LRESULT count = index < 0 ? 0 : ::SendMessageW(combo, CB_GETCOUNT, 0, 0);
    for (WPARAM position = 0; static_cast<LRESULT>(position) < count; ++position) {
        if (::SendMessageW(combo, CB_GETITEMDATA, position, 0) == index)
            ::SendMessageW(combo, CB_SETCURSEL, position, 0);
    }
    return index >= 0;
}

void frmDSPSettings::SelectCurrentPlugIn() {
    const CLockObj lock(&PlugInListLock);
    const GUID connected = m_owner != nullptr ? m_owner->ConnectedEffect() : GUID{};
    if (!ShowSelected(connected) && connected != GUID{})
        m_owner->ConnectDX(GUID{}, nullptr, kSampleRate, 0);
}

LRESULT frmDSPSettings::OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, BOOL* handled) {
    // The host may destroy the instance, and with it this form, while a command below takes messages: the
    // instance then goes, when `call` does, as the last thing here.
    std::optional<CPanelCall> call;
    if (message == WM_COMMAND && m_owner != nullptr)
        call.emplace(*m_owner);
    const LRESULT result = m_tooltip.OnMessage(window, message, wParam, lParam, handled);
    if (*handled || !call.has_value())
        return result;
    OnCommandOf(LOWORD(wParam), HIWORD(wParam));
    return 0;
}

void frmDSPSettings::OnCommandOf(WORD id, WORD notification) {
    const bool selected = id == IDC_EFFECTS && notification == CBN_SELCHANGE;
    if (!selected && id != IDC_RESCAN && id != IDC_EDITOR_TOGGLE)
        return;
    if (m_owner->InEffect())
        UndoWhileBusy(id);
    else if (selected)
        OnSelected();
    else if (id == IDC_RESCAN)
        OnRescan();
    else
        OnEditorToggle();
}

void frmDSPSettings::UndoWhileBusy(WORD id) {
    const CLockObj lock(&PlugInListLock);
    if (id == IDC_EFFECTS)
        ShowSelected(m_owner->ConnectedEffect());
    else if (id == IDC_EDITOR_TOGGLE)
        CheckEditorButton(!EditorButtonIsChecked());
}

bool frmDSPSettings::ConnectSelected() {
    const CLockObj lock(&PlugInListLock);
    const PlugInElem* const effect = PlugInAt(PlugInList, SelectedPlugIn());
    if (effect == nullptr)
        return false;
    // Copies: an effect that takes messages while it goes or comes may let the list be made anew.
    const GUID clsid = effect->clsid;
    const std::string name = effect->name != nullptr ? effect->name : "";
    return m_owner->ConnectDX(clsid, name.c_str(), kSampleRate, TRUE) != 0;
}

void frmDSPSettings::OnSelected() {
    const bool connected = ConnectSelected();
    if (!connected)
        SelectCurrentPlugIn();
    EnableEditorButton(connected);
    CheckEditorButton(connected);
}

void frmDSPSettings::OnRescan() {
    const HWND window = Window();
    ScanAndStorePlugInList(window);
    if (Window() != window) // the host has taken the panel down meanwhile
        return;
    FillPlugInCombo();
    SelectCurrentPlugIn();
}

bool frmDSPSettings::EditorButtonIsChecked() const {
    return ::SendMessageW(GetItem(IDC_EDITOR_TOGGLE), BM_GETCHECK, 0, 0) == BST_CHECKED;
}

void frmDSPSettings::OnEditorToggle() {
    if (!EditorButtonIsChecked()) {
        m_owner->CloseEditor();
    } else if (m_owner->OpenEditor() == 0) {
        CheckEditorButton(false);
        EnableEditorButton(false);
    }
}

void frmDSPSettings::_cmdHelp::OnClick(std::uint32_t) {
    wchar_t path[kLongestPath + 1] = L"";
    ::GetModuleFileNameW(nullptr, path, kLongestPath);
    try {
        std::wstring page = path;
        page.resize(page.rfind(L'\\') + 1);
        page += kHelpPage;
        ::ShellExecuteW(nullptr, L"open", page.c_str(), nullptr, nullptr, SW_SHOWDEFAULT);
    } catch (const std::exception&) {
        // Out of memory: no help this time.
    }
}
