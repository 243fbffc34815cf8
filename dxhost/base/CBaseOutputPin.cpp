#include "dxhost/base/CBaseOutputPin.h"

#include "support/hresult.h"

#include <algorithm>

CBaseOutputPin::~CBaseOutputPin() {
    CBaseOutputPin::BreakConnect();
}

HRESULT CBaseOutputPin::CheckConnect(IPin* peer) {
    RETURN_IF_FAILED(CBasePin::CheckConnect(peer));
    ForeignRelease(m_inputPin);
    IMemInputPin* input = nullptr;
    RETURN_IF_FAILED(
        Foreign([&] { return peer->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&input)); }));
    m_inputPin = input;
    return m_inputPin == nullptr ? E_NOINTERFACE : S_OK;
}

HRESULT CBaseOutputPin::CompleteConnect(IPin*) {
    ForeignRelease(m_allocator);
    return DecideAllocator(m_inputPin, &m_allocator);
}

HRESULT CBaseOutputPin::BreakConnect() {
    ForeignRelease(m_allocator);
    ForeignRelease(m_inputPin);
    return S_OK;
}

HRESULT CBaseOutputPin::Active() {
    return m_allocator == nullptr ? VFW_E_NO_ALLOCATOR : Foreign([this] { return m_allocator->Commit(); });
}

HRESULT CBaseOutputPin::Inactive() {
    return m_allocator == nullptr ? S_OK : Foreign([this] { return m_allocator->Decommit(); });
}

ALLOCATOR_PROPERTIES CBaseOutputPin::Requirements(IMemInputPin* input) {
    ALLOCATOR_PROPERTIES wishes{};
    if (FAILED(Foreign([&] { return input->GetAllocatorRequirements(&wishes); })))
        wishes = {};
    wishes.cbAlign = std::max(wishes.cbAlign, 1L);
    return wishes;
}

HRESULT CBaseOutputPin::SizeAndNotify(
    IMemInputPin* input, IMemAllocator* allocator, ALLOCATOR_PROPERTIES request, bool readOnly) {
    RETURN_IF_FAILED(DecideBufferSize(allocator, &request));
    return Foreign([&] { return input->NotifyAllocator(allocator, readOnly); });
}

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* input, IMemAllocator** allocator) {
    const ALLOCATOR_PROPERTIES wishes = Requirements(input);
    IMemAllocator* offered = nullptr;
    if (SUCCEEDED(Foreign([&] { return input->GetAllocator(&offered); })) && offered != nullptr) {
        if (SUCCEEDED(SizeAndNotify(input, offered, wishes, false))) {
            *allocator = offered;
            return S_OK;
        }
        ForeignRelease(offered);
    }
    RETURN_IF_FAILED(InitAllocator(&offered));
    const HRESULT result = SizeAndNotify(input, offered, wishes, false);
    if (FAILED(result))
        ForeignRelease(offered);
    *allocator = offered;
    return result;
}

HRESULT CBaseOutputPin::InitAllocator(IMemAllocator** allocator) {
    return ::CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
        reinterpret_cast<void**>(allocator));
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(
    IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* end, DWORD flags) {
    if (m_allocator == nullptr)
        return VFW_E_NO_ALLOCATOR;
    return Foreign([&] { return m_allocator->GetBuffer(sample, start, end, flags); });
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* sample) {
    if (m_inputPin == nullptr)
        return VFW_E_NOT_CONNECTED;
    return Foreign([&] { return m_inputPin->Receive(sample); });
}
