#include "effects/echo/CEchoInputPin.h"

#include "effects/echo/CEcho.h"
#include "support/hresult.h"

CEchoInputPin::CEchoInputPin(CEcho& echo) : CBaseInputPin(echo, L"In", nullptr), m_echo(echo) {}

HRESULT CEchoInputPin::CheckMediaType(const AM_MEDIA_TYPE* type) {
    const auto format = ReadEchoFormat(type);
    if (!format)
        return VFW_E_TYPE_NOT_ACCEPTED;
    const CEchoOutputPin& output = m_echo.Output();
    return !output.IsConnected() || format == ReadEchoFormat(&output.MediaType()) ? S_OK
                                                                                  : VFW_E_TYPE_NOT_ACCEPTED;
}

STDMETHODIMP CEchoInputPin::GetAllocator(IMemAllocator** allocator) {
    if (allocator == nullptr)
        return E_POINTER;
    const CAutoLock lock(m_echo.Lock());
    if (SUCCEEDED(m_echo.Output().GetDownstreamAllocator(allocator)))
        return S_OK;
    return CBaseInputPin::GetAllocator(allocator);
}

STDMETHODIMP CEchoInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) {
    const CAutoLock lock(m_echo.Lock());
    if (m_echo.State() != State_Stopped)
        return VFW_E_NOT_STOPPED;
    RETURN_IF_FAILED(CBaseInputPin::NotifyAllocator(allocator, readOnly));
    return m_echo.Output().FollowInput();
}

STDMETHODIMP CEchoInputPin::Receive(IMediaSample* sample) {
    const CAutoLock lock(m_echo.ReceiveLock());
    if (!IsConnected())
        return VFW_E_NOT_CONNECTED;
    const HRESULT welcome = CBaseInputPin::Receive(sample);
    return welcome == S_OK ? m_echo.Transform(*sample) : welcome;
}

STDMETHODIMP CEchoInputPin::EndOfStream() {
    const CAutoLock lock(m_echo.ReceiveLock());
    return m_echo.Output().Downstream([](IPin& peer) { return peer.EndOfStream(); });
}

STDMETHODIMP CEchoInputPin::BeginFlush() {
    RETURN_IF_FAILED(CBaseInputPin::BeginFlush());
    return m_echo.Output().Downstream([](IPin& peer) { return peer.BeginFlush(); });
}

STDMETHODIMP CEchoInputPin::EndFlush() {
    {
        const CAutoLock lock(m_echo.ReceiveLock());
        m_echo.ClearLine();
    }
    RETURN_IF_FAILED(m_echo.Output().Downstream([](IPin& peer) { return peer.EndFlush(); }));
    return CBaseInputPin::EndFlush();
}

STDMETHODIMP CEchoInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    const CAutoLock lock(m_echo.ReceiveLock());
    return m_echo.Output().Downstream([=](IPin& peer) { return peer.NewSegment(start, stop, rate); });
}
