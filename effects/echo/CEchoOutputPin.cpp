#include "effects/echo/CEchoOutputPin.h"

#include "effects/echo/CEcho.h"
#include "support/hresult.h"

#include <algorithm>

CEchoOutputPin::CEchoOutputPin(CEcho& echo) : CBaseOutputPin(echo, L"Out", nullptr), m_echo(echo) {}

HRESULT CEchoOutputPin::CheckMediaType(const AM_MEDIA_TYPE* type) {
    const auto format = ReadEchoFormat(type);
    if (!format)
        return VFW_E_TYPE_NOT_ACCEPTED;
    const CEchoInputPin& input = m_echo.Input();
    return !input.IsConnected() || format == ReadEchoFormat(&input.MediaType()) ? S_OK
                                                                                : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CEchoOutputPin::GetMediaType(int position, CMediaType* type) {
    if (position < 0)
        return E_INVALIDARG;
    if (position > 0 || !m_echo.Input().IsConnected())
        return VFW_S_NO_MORE_ITEMS;
    return type->Set(m_echo.Input().MediaType());
}

HRESULT CEchoOutputPin::DecideAllocator(IMemInputPin* input, IMemAllocator** allocator) {
    IMemAllocator* const announced = m_echo.Input().Allocator();
    if (announced == nullptr)
        return CBaseOutputPin::DecideAllocator(input, allocator);
    if (!m_echo.Input().IsReadOnly() && SUCCEEDED(input->NotifyAllocator(announced, FALSE))) {
        announced->AddRef();
        *allocator = announced;
        return S_OK;
    }
    IMemAllocator* own = nullptr;
    RETURN_IF_FAILED(InitAllocator(&own));
    const HRESULT result = SizeAndNotify(input, own, Requirements(input), false);
    if (FAILED(result))
        ForeignRelease(own);
    *allocator = own;
    return result;
}

HRESULT CEchoOutputPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    constexpr LONG kProvisionalBytes = 32768; // until the input tells how large its samples are
    ALLOCATOR_PROPERTIES upstream{};
    if (IMemAllocator* const announced = m_echo.Input().Allocator())
        RETURN_IF_FAILED(announced->GetProperties(&upstream));
    const LONG needed = upstream.cbBuffer > 0 ? upstream.cbBuffer : kProvisionalBytes;
    request->cbBuffer = std::max(request->cbBuffer, needed);
    request->cBuffers = std::max(request->cBuffers, 1L);
    ALLOCATOR_PROPERTIES granted{};
    RETURN_IF_FAILED(allocator->SetProperties(request, &granted));
    return granted.cbBuffer < request->cbBuffer || granted.cBuffers < request->cBuffers ? E_FAIL : S_OK;
}

HRESULT CEchoOutputPin::GetDownstreamAllocator(IMemAllocator** allocator) {
    return IsConnected() ? InputPin()->GetAllocator(allocator) : VFW_E_NOT_CONNECTED;
}

bool CEchoOutputPin::IsInPlace() const {
    return !m_echo.Input().IsReadOnly() && m_echo.Input().Allocator() == Allocator();
}
