#pragma once

#include "support/com.h"

#include <dshow.h>

class CBasePin;

/// Walks the media types that a pin offers. Starts without references.
class CEnumMediaTypes : public IEnumMediaTypes {
public:
    /// Holds a reference to `pin`; the walk begins at type `next`.
    explicit CEnumMediaTypes(CBasePin& pin, int next = 0);
    virtual ~CEnumMediaTypes();
    CEnumMediaTypes(const CEnumMediaTypes&) = delete;
    CEnumMediaTypes& operator=(const CEnumMediaTypes&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return m_references.Add(); }
    STDMETHODIMP_(ULONG) Release() override;

    /// Each type given out is the caller's: a CoTaskMemAlloc record with a format block of its own.
    STDMETHODIMP Next(ULONG wanted, AM_MEDIA_TYPE** types, ULONG* fetched) override;
    STDMETHODIMP Skip(ULONG count) override;
    STDMETHODIMP Reset() override;
    STDMETHODIMP Clone(IEnumMediaTypes** clone) override;

private:
    CRefCount m_references;
    CBasePin& m_pin;
    int m_next;
};
