#pragma once

#include "support/CCritSec.h"
#include "support/com.h"

#include <dshow.h>
#include <wrl/client.h>
#include <string>

class CBasePin;

/// A filter: identity, state, name and graph of IBaseFilter. To derive: own the pins, and override the
/// destructor, GetPinCount, GetPin, and QueryFurther for interfaces of one's own. The object starts without
/// references and deletes itself with the last; its pins count on it. Between Own and Disown it stays
/// whatever the count.
class CBaseFilter : public IBaseFilter {
public:
    explicit CBaseFilter(REFCLSID clsid) : m_clsid(clsid) {}
    virtual ~CBaseFilter() = default;
    CBaseFilter(const CBaseFilter&) = delete;
    CBaseFilter& operator=(const CBaseFilter&) = delete;

    virtual int GetPinCount() = 0;
    /// Pin n without a reference, or null.
    virtual CBasePin* GetPin(int n) = 0;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return COwnedCount::Shown(m_references.Add()); }
    STDMETHODIMP_(ULONG) Release() override;
    void Own() { m_references.Own(); }
    void Disown() { DeleteWithout(m_references.Disown()); }

    STDMETHODIMP GetClassID(CLSID* clsid) override;

    STDMETHODIMP Stop() override;
    STDMETHODIMP Pause() override;
    STDMETHODIMP Run(REFERENCE_TIME start) override;
    STDMETHODIMP GetState(DWORD timeoutMs, FILTER_STATE* state) override;
    STDMETHODIMP SetSyncSource(IReferenceClock* clock) override;
    STDMETHODIMP GetSyncSource(IReferenceClock** clock) override;

    STDMETHODIMP EnumPins(IEnumPins** pins) override;
    STDMETHODIMP FindPin(LPCWSTR id, IPin** pin) override;
    STDMETHODIMP QueryFilterInfo(FILTER_INFO* info) override;
    STDMETHODIMP JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override;
    STDMETHODIMP QueryVendorInfo(LPWSTR*) override { return E_NOTIMPL; }

    CCritSec& Lock() { return m_lock; }
    FILTER_STATE State() const { return m_state; }
    /// The graph that the filter is in; borrowed, null when in none.
    IFilterGraph* Graph() const { return m_graph; }

protected:
    /// Answers an interface that IBaseFilter does not cover: E_NOINTERFACE with null when there is none.
    virtual HRESULT QueryFurther(REFIID iid, void** out);

private:
    ULONG DeleteWithout(LONG references);

    COwnedCount m_references;
    CCritSec m_lock;
    const CLSID m_clsid;
    FILTER_STATE m_state = State_Stopped;
    Microsoft::WRL::ComPtr<IReferenceClock> m_clock;
    IFilterGraph* m_graph = nullptr; // a reference would make a circle: the graph owns its filters
    std::wstring m_name;
};
