#pragma once

#include "support/com.h"

#include <dshow.h>

class CBaseFilter;

/// Walks a filter's pins, which are the same as long as it lives. Starts without references.
class CEnumPins : public IEnumPins {
public:
    /// Holds a reference to `filter`; the walk begins at pin `next`.
    explicit CEnumPins(CBaseFilter& filter, int next = 0);
    virtual ~CEnumPins();
    CEnumPins(const CEnumPins&) = delete;
    CEnumPins& operator=(const CEnumPins&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return m_references.Add(); }
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP Next(ULONG wanted, IPin** pins, ULONG* fetched) override;
    STDMETHODIMP Skip(ULONG count) override;
    STDMETHODIMP Reset() override;
    STDMETHODIMP Clone(IEnumPins** clone) override;

private:
    CRefCount m_references;
    CBaseFilter& m_filter;
    int m_next;
};
