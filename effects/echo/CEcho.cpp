#include "effects/echo/CEcho.h"

#include "effects/echo/guids.h"
#include "support/hresult.h"

#include <wrl/client.h>
#include <exception>

using Microsoft::WRL::ComPtr;

namespace {

// The saved state, little-endian.
struct EchoState {
    std::uint32_t magic;
    std::uint32_t version;
    LONG values[kEchoParameters];
};
static_assert(sizeof(EchoState) == 20);
constexpr std::uint32_t kMagic = 0x6F686345; // "Echo"
constexpr std::uint32_t kVersion = 1;

void CopyAttributes(IMediaSample& source, IMediaSample& target) {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    const HRESULT timed = source.GetTime(&start, &end);
    if (SUCCEEDED(timed))
        target.SetTime(&start, timed == VFW_S_NO_STOP_TIME ? nullptr : &end);
    if (SUCCEEDED(source.GetMediaTime(&start, &end)))
        target.SetMediaTime(&start, &end);
    target.SetSyncPoint(source.IsSyncPoint() == S_OK);
    target.SetPreroll(source.IsPreroll() == S_OK);
    target.SetDiscontinuity(source.IsDiscontinuity() == S_OK);
}

} // namespace

CEcho::CEcho() : CBaseFilter(kEchoFilterClsid), m_input(*this), m_output(*this) {
    for (DWORD n = 0; n < kEchoParameters; ++n)
        m_values[n] = kEchoRanges[n].initial;
}

CBasePin* CEcho::GetPin(int n) {
    if (n == 0)
        return &m_input;
    return n == 1 ? &m_output : nullptr;
}

HRESULT CEcho::QueryFurther(REFIID iid, void** out) {
    if (iid == IID_ISpecifyPropertyPages)
        return HandOut<ISpecifyPropertyPages>(this, out);
    if (iid == IID_IPersistStream)
        return HandOut<IPersistStream>(this, out);
    if (iid == IID_IEcho)
        return HandOut<IEcho>(this, out);
    return CBaseFilter::QueryFurther(iid, out);
}

STDMETHODIMP CEcho::Pause() {
    const CAutoLock lock(Lock());
    if (State() == State_Stopped && m_input.IsConnected())
        RETURN_IF_FAILED(StartLine());
    return CBaseFilter::Pause();
}

STDMETHODIMP CEcho::Stop() {
    const CAutoLock lock(Lock());
    const HRESULT result = CBaseFilter::Stop();
    const CAutoLock settled(m_receiveLock); // a sample under way comes to its end before this returns
    return result;
}

HRESULT CEcho::StartLine() {
    const CAutoLock lock(m_receiveLock);
    m_format = ReadEchoFormat(&m_input.MediaType()).value_or(EchoFormat{});
    try {
        m_line.Start(m_format.rate, m_format.channels, static_cast<std::uint32_t>(Value(kEchoDelay)));
    } catch (const std::exception&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

HRESULT CEcho::NewOutputSample(IMediaSample& source, IMediaSample** target) {
    ComPtr<IMediaSample> sample;
    RETURN_IF_FAILED(m_output.GetDeliveryBuffer(&sample, nullptr, nullptr, 0));
    RETURN_IF_FAILED(sample->SetActualDataLength(source.GetActualDataLength()));
    CopyAttributes(source, *sample.Get());
    *target = sample.Detach();
    return S_OK;
}

HRESULT CEcho::Transform(IMediaSample& sample) {
    AM_MEDIA_TYPE* type = nullptr;
    if (sample.GetMediaType(&type) == S_OK) {
        const bool same = ReadEchoFormat(type) == m_format;
        CMediaType::FreeRecord(*type);
        ::CoTaskMemFree(type);
        if (!same)
            return VFW_E_INVALIDMEDIATYPE;
    }
    const auto bytes = static_cast<std::size_t>(sample.GetActualDataLength());
    if (bytes % m_format.FrameBytes() != 0)
        return E_INVALIDARG;
    BYTE* input = nullptr;
    RETURN_IF_FAILED(sample.GetPointer(&input));
    BYTE* output = input;
    ComPtr<IMediaSample> copy;
    if (!m_output.IsInPlace()) {
        RETURN_IF_FAILED(NewOutputSample(sample, &copy));
        RETURN_IF_FAILED(copy->GetPointer(&output));
    }
    m_line.SetDelay(static_cast<std::uint32_t>(Value(kEchoDelay)));
    m_line.Process(reinterpret_cast<const float*>(input), reinterpret_cast<float*>(output),
        bytes / m_format.FrameBytes(), CEchoLine::GainsFor(Value(kEchoFeedback), Value(kEchoMix)));
    return m_output.Deliver(copy != nullptr ? copy.Get() : &sample);
}

STDMETHODIMP CEcho::GetPages(CAUUID* pages) {
    if (pages == nullptr)
        return E_POINTER;
    pages->cElems = 0;
    pages->pElems = static_cast<GUID*>(::CoTaskMemAlloc(sizeof(GUID)));
    if (pages->pElems == nullptr)
        return E_OUTOFMEMORY;
    pages->pElems[0] = kEchoPageClsid;
    pages->cElems = 1;
    return S_OK;
}

STDMETHODIMP CEcho::Load(IStream* stream) {
    if (stream == nullptr)
        return E_POINTER;
    EchoState state{};
    ULONG read = 0;
    RETURN_IF_FAILED(stream->Read(&state, sizeof(state), &read));
    if (read != sizeof(state))
        return STG_E_READFAULT;
    if (state.magic != kMagic || state.version != kVersion)
        return STG_E_INVALIDHEADER;
    for (DWORD n = 0; n < kEchoParameters; ++n)
        if (!kEchoRanges[n].Holds(state.values[n]))
            return STG_E_DOCFILECORRUPT;
    for (DWORD n = 0; n < kEchoParameters; ++n)
        m_values[n] = state.values[n];
    m_dirty = false;
    return S_OK;
}

STDMETHODIMP CEcho::Save(IStream* stream, BOOL clearDirty) {
    if (stream == nullptr)
        return E_POINTER;
    EchoState state{kMagic, kVersion, {}};
    for (DWORD n = 0; n < kEchoParameters; ++n)
        state.values[n] = m_values[n];
    ULONG written = 0;
    RETURN_IF_FAILED(stream->Write(&state, sizeof(state), &written));
    if (written != sizeof(state))
        return STG_E_WRITEFAULT;
    if (clearDirty)
        m_dirty = false;
    return S_OK;
}

STDMETHODIMP CEcho::GetSizeMax(ULARGE_INTEGER* bytes) {
    if (bytes == nullptr)
        return E_POINTER;
    bytes->QuadPart = sizeof(EchoState);
    return S_OK;
}

STDMETHODIMP CEcho::GetParameter(DWORD parameter, LONG* value) {
    if (value == nullptr)
        return E_POINTER;
    *value = 0;
    if (parameter >= kEchoParameters)
        return E_INVALIDARG;
    *value = m_values[parameter];
    return S_OK;
}

STDMETHODIMP CEcho::SetParameter(DWORD parameter, LONG value) {
    if (parameter >= kEchoParameters || !kEchoRanges[parameter].Holds(value))
        return E_INVALIDARG;
    if (m_values[parameter].exchange(value) != value)
        m_dirty = true;
    return S_OK;
}
