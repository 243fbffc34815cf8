#pragma once

#include "dxhost/base/CMediaType.h"
#include "support/CForeignGuard.h"

#include <dshow.h>
#include <cstring>
#include <utility>

class CBaseFilter;

/// A direction that a foreign pin named, which may be neither of the two: to be compared as a number.
inline int DirectionNumber(const PIN_DIRECTION& direction) {
    int number = 0;
    std::memcpy(&number, &direction, sizeof number);
    return number;
}

/// What input and output pins share: identity, connection, media type. Counts references on its filter, which
/// owns it. Calls into the connected pin go through the guard when one was given: then a fault there fails
/// the call and leaves no lock of ours held. To derive: CheckMediaType always; the other virtuals as needed.
class CBasePin : public IPin {
public:
    /// name: a literal. guard: null for pins whose peers need none.
    CBasePin(CBaseFilter& filter, PIN_DIRECTION direction, const wchar_t* name, CForeignGuardPtr guard);
    virtual ~CBasePin();
    CBasePin(const CBasePin&) = delete;
    CBasePin& operator=(const CBasePin&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP Connect(IPin* peer, const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP Disconnect() override;
    STDMETHODIMP ConnectedTo(IPin** peer) override;
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* type) override;
    STDMETHODIMP QueryPinInfo(PIN_INFO* info) override;
    STDMETHODIMP QueryDirection(PIN_DIRECTION* direction) override;
    STDMETHODIMP QueryId(LPWSTR* id) override;
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** types) override;
    STDMETHODIMP QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }
    STDMETHODIMP EndOfStream() override { return S_OK; }
    STDMETHODIMP BeginFlush() override { return E_UNEXPECTED; }
    STDMETHODIMP EndFlush() override { return E_UNEXPECTED; }
    STDMETHODIMP NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return S_OK; }

    /// S_OK when the pin can work with the type. `type` may be null.
    virtual HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) = 0;
    /// The type has been agreed on; the base keeps a copy.
    virtual HRESULT SetMediaType(const AM_MEDIA_TYPE* type);
    /// The type offered at `position`: S_OK, or VFW_S_NO_MORE_ITEMS past the last. The base offers none.
    virtual HRESULT GetMediaType(int position, CMediaType* type);
    /// May this pin connect to `peer`? Takes what it needs of it; BreakConnect gives that back.
    virtual HRESULT CheckConnect(IPin* peer);
    virtual HRESULT CompleteConnect(IPin*) { return S_OK; }
    virtual HRESULT BreakConnect() { return S_OK; }
    /// The filter leaves, and returns to, the stopped state.
    virtual HRESULT Active() { return S_OK; }
    virtual HRESULT Inactive() { return S_OK; }

    const wchar_t* Name() const { return m_name; }
    bool IsConnected() const { return m_peer != nullptr; }
    /// The connected pin; borrowed.
    IPin* Peer() const { return m_peer; }
    const CMediaType& MediaType() const { return m_type; }

protected:
    CBaseFilter& Filter() const { return m_filter; }

    /// A call into the peer, or into what it handed over.
    template <typename Action>
    HRESULT Foreign(Action&& call) {
        if (m_guard != nullptr)
            return m_guard->Call(std::forward<Action>(call));
        return call();
    }
    template <typename T>
    void ForeignRelease(T*& pointer) {
        if (T* const held = std::exchange(pointer, nullptr))
            Foreign([held] { return held->Release(), S_OK; });
    }

    /// The disconnecting itself, whatever the state: S_FALSE when there was no connection.
    HRESULT DropConnection();

private:
    HRESULT CheckFree() const;
    HRESULT TryType(IPin* peer, const AM_MEDIA_TYPE& type);
    /// CheckConnect and SetMediaType; the peer is then held.
    HRESULT BeginConnection(IPin* peer, const AM_MEDIA_TYPE& type);

    CBaseFilter& m_filter;
    const PIN_DIRECTION m_direction;
    const wchar_t* const m_name;
    const CForeignGuardPtr m_guard;
    IPin* m_peer = nullptr;
    CMediaType m_type;
};
