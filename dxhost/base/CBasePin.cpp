#include "dxhost/base/CBasePin.h"

#include "dxhost/base/CBaseFilter.h"
#include "dxhost/base/CEnumMediaTypes.h"
#include "support/hresult.h"

#include <cstring>
#include <cwchar>
#include <new>

namespace {

bool IsComplete(const AM_MEDIA_TYPE* type) {
    return type != nullptr && type->majortype != GUID_NULL && type->formattype != GUID_NULL;
}

// Does an offered type fit what the caller left open or asked for?
bool Fits(const AM_MEDIA_TYPE& offered, const AM_MEDIA_TYPE* wanted) {
    if (wanted == nullptr)
        return true;
    return (wanted->majortype == GUID_NULL || wanted->majortype == offered.majortype) &&
           (wanted->subtype == GUID_NULL || wanted->subtype == offered.subtype);
}

} // namespace

CBasePin::CBasePin(CBaseFilter& filter, PIN_DIRECTION direction, const wchar_t* name, CForeignGuardPtr guard)
    : m_filter(filter), m_direction(direction), m_name(name), m_guard(std::move(guard)) {}

CBasePin::~CBasePin() {
    ForeignRelease(m_peer);
}

STDMETHODIMP CBasePin::QueryInterface(REFIID iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IPin)
        return HandOut<IPin>(this, out);
    *out = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CBasePin::AddRef() {
    return m_filter.AddRef();
}
STDMETHODIMP_(ULONG) CBasePin::Release() {
    return m_filter.Release();
}

HRESULT CBasePin::CheckFree() const {
    if (m_peer != nullptr)
        return VFW_E_ALREADY_CONNECTED;
    return m_filter.State() == State_Stopped ? S_OK : VFW_E_NOT_STOPPED;
}

STDMETHODIMP CBasePin::Connect(IPin* peer, const AM_MEDIA_TYPE* type) {
    if (peer == nullptr)
        return E_POINTER;
    if (m_direction != PINDIR_OUTPUT)
        return VFW_E_INVALID_DIRECTION;
    const CAutoLock lock(m_filter.Lock());
    RETURN_IF_FAILED(CheckFree());
    if (IsComplete(type))
        return TryType(peer, *type);
    HRESULT result = VFW_E_NO_ACCEPTABLE_TYPES;
    for (int position = 0;; ++position) {
        CMediaType offered;
        if (GetMediaType(position, &offered) != S_OK)
            return result;
        if (!Fits(offered, type))
            continue;
        result = TryType(peer, offered);
        if (SUCCEEDED(result))
            return result;
    }
}

HRESULT CBasePin::BeginConnection(IPin* peer, const AM_MEDIA_TYPE& type) {
    RETURN_IF_FAILED(CheckConnect(peer));
    const HRESULT checked = CheckMediaType(&type);
    if (checked != S_OK)
        return FAILED(checked) && checked != E_FAIL && checked != E_INVALIDARG ? checked
                                                                               : VFW_E_TYPE_NOT_ACCEPTED;
    RETURN_IF_FAILED(Foreign([peer] { return peer->AddRef(), S_OK; }));
    m_peer = peer;
    return SetMediaType(&type);
}

HRESULT CBasePin::TryType(IPin* peer, const AM_MEDIA_TYPE& type) {
    HRESULT result = BeginConnection(peer, type);
    if (SUCCEEDED(result)) {
        result = Foreign([&] { return peer->ReceiveConnection(this, &type); });
        if (SUCCEEDED(result)) {
            result = CompleteConnect(peer);
            if (FAILED(result))
                Foreign([&] { return peer->Disconnect(); });
        }
    }
    if (FAILED(result)) {
        BreakConnect();
        ForeignRelease(m_peer);
        m_type.Clear();
    }
    return result;
}

STDMETHODIMP CBasePin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
    if (connector == nullptr || type == nullptr)
        return E_POINTER;
    CMediaType offered; // the peer's own may be nonsense: it is read before anything is locked
    RETURN_IF_FAILED(Foreign([&] { return offered.Set(*type); }));
    const CAutoLock lock(m_filter.Lock());
    RETURN_IF_FAILED(CheckFree());
    HRESULT result = BeginConnection(connector, offered);
    if (SUCCEEDED(result))
        result = CompleteConnect(connector);
    if (FAILED(result)) {
        BreakConnect();
        ForeignRelease(m_peer);
        m_type.Clear();
    }
    return result;
}

STDMETHODIMP CBasePin::Disconnect() {
    const CAutoLock lock(m_filter.Lock());
    if (m_filter.State() != State_Stopped)
        return VFW_E_NOT_STOPPED;
    return DropConnection();
}

HRESULT CBasePin::DropConnection() {
    if (m_peer == nullptr)
        return S_FALSE;
    const HRESULT broken = BreakConnect();
    ForeignRelease(m_peer);
    m_type.Clear();
    return FAILED(broken) ? broken : S_OK;
}

STDMETHODIMP CBasePin::ConnectedTo(IPin** peer) {
    if (peer == nullptr)
        return E_POINTER;
    const CAutoLock lock(m_filter.Lock());
    *peer = m_peer;
    if (m_peer == nullptr)
        return VFW_E_NOT_CONNECTED;
    return Foreign([this] { return m_peer->AddRef(), S_OK; });
}

STDMETHODIMP CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* type) {
    if (type == nullptr)
        return E_POINTER;
    const CAutoLock lock(m_filter.Lock());
    *type = {};
    return m_peer == nullptr ? VFW_E_NOT_CONNECTED : CMediaType::CopyRecord(type, m_type);
}

STDMETHODIMP CBasePin::QueryPinInfo(PIN_INFO* info) {
    if (info == nullptr)
        return E_POINTER;
    info->pFilter = &m_filter;
    m_filter.AddRef();
    info->dir = m_direction;
    ::lstrcpynW(info->achName, m_name, MAX_PIN_NAME);
    return S_OK;
}

STDMETHODIMP CBasePin::QueryDirection(PIN_DIRECTION* direction) {
    if (direction == nullptr)
        return E_POINTER;
    *direction = m_direction;
    return S_OK;
}

STDMETHODIMP CBasePin::QueryId(LPWSTR* id) {
    if (id == nullptr)
        return E_POINTER;
    const std::size_t bytes = (std::wcslen(m_name) + 1) * sizeof(wchar_t);
    *id = static_cast<LPWSTR>(::CoTaskMemAlloc(bytes));
    if (*id == nullptr)
        return E_OUTOFMEMORY;
    std::memcpy(*id, m_name, bytes);
    return S_OK;
}

STDMETHODIMP CBasePin::QueryAccept(const AM_MEDIA_TYPE* type) {
    if (type == nullptr)
        return E_POINTER;
    return CheckMediaType(type) == S_OK ? S_OK : S_FALSE;
}

STDMETHODIMP CBasePin::EnumMediaTypes(IEnumMediaTypes** types) {
    if (types == nullptr)
        return E_POINTER;
    *types = new (std::nothrow) CEnumMediaTypes(*this);
    if (*types == nullptr)
        return E_OUTOFMEMORY;
    (*types)->AddRef();
    return S_OK;
}

HRESULT CBasePin::SetMediaType(const AM_MEDIA_TYPE* type) {
    return m_type.Set(*type);
}

HRESULT CBasePin::GetMediaType(int, CMediaType*) {
    return VFW_S_NO_MORE_ITEMS;
}

HRESULT CBasePin::CheckConnect(IPin* peer) {
    PIN_DIRECTION direction = m_direction;
    RETURN_IF_FAILED(Foreign([&] { return peer->QueryDirection(&direction); }));
    return DirectionNumber(direction) == m_direction ? VFW_E_INVALID_DIRECTION : S_OK;
}
