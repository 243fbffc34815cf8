#pragma once

#include "effects/echo/CModuleUse.h"
#include "effects/echo/IEcho.h"
#include "support/com.h"

#include <ocidl.h>
#include <wrl/client.h>

/// The effect's property page: a slider and a number for each parameter. A change acts on the effect at once,
/// so the page is never dirty and has nothing to apply or to report to its site. One effect at a time.
/// Threads: the one that activates it owns the window and makes all further calls.
class CEchoPage final : public IPropertyPage {
public:
    CEchoPage() = default;
    virtual ~CEchoPage() { Deactivate(); }
    CEchoPage(const CEchoPage&) = delete;
    CEchoPage& operator=(const CEchoPage&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return m_references.Add(); }
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP SetPageSite(IPropertyPageSite*) override { return S_OK; }
    /// E_UNEXPECTED without an effect or when already active.
    STDMETHODIMP Activate(HWND parent, LPCRECT area, BOOL modal) override;
    /// S_OK also when the page is not active.
    STDMETHODIMP Deactivate() override;
    /// The size is the template's in pixels; the title is the caller's.
    STDMETHODIMP GetPageInfo(PROPPAGEINFO* info) override;
    /// None lets go of the effect; more than one is refused with E_INVALIDARG.
    STDMETHODIMP SetObjects(ULONG count, IUnknown** objects) override;
    STDMETHODIMP Show(UINT command) override;
    STDMETHODIMP Move(LPCRECT area) override;
    STDMETHODIMP IsPageDirty() override { return S_FALSE; }
    STDMETHODIMP Apply() override { return S_OK; }
    STDMETHODIMP Help(LPCOLESTR) override { return E_NOTIMPL; }
    STDMETHODIMP TranslateAccelerator(LPMSG) override { return S_FALSE; }

private:
    static INT_PTR CALLBACK Dispatch(HWND window, UINT message, WPARAM wide, LPARAM lng);
    INT_PTR OnMessage(UINT message, WPARAM wide, LPARAM lng);
    void OnInit(HWND window);
    void OnSlider(HWND slider);
    void OnTyped(DWORD parameter);
    void ShowNumber(DWORD parameter);
    void ShowPosition(DWORD parameter);
    LONG Value(DWORD parameter) const;

    const CModuleUse m_use;
    CRefCount m_references;
    Microsoft::WRL::ComPtr<IEcho> m_echo;
    HWND m_window = nullptr;
};
