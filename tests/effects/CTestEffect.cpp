#include "tests/effects/CTestEffect.h"

#include "support/hresult.h"
#include "tests/effects/faults.h"

#include <algorithm>
#include <cstring>

namespace {

const TestEffectPlan& Plan() {
    return Shared().plan;
}

} // namespace

// ---- input pin

CTestInputPin::CTestInputPin(CTestEffect& effect) : CBaseInputPin(effect, L"In", nullptr), m_effect(effect) {}

HRESULT CTestInputPin::CheckMediaType(const AM_MEDIA_TYPE* type) {
    return IsFloatAudio(type) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

STDMETHODIMP CTestInputPin::QueryPinInfo(PIN_INFO* info) {
    RETURN_IF_FAILED(At(Place::QueryPinInfo));
    return CBaseInputPin::QueryPinInfo(info);
}

STDMETHODIMP CTestInputPin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
    RETURN_IF_FAILED(At(Place::ReceiveConnection));
    return CBaseInputPin::ReceiveConnection(connector, type);
}

STDMETHODIMP CTestInputPin::Disconnect() {
    RETURN_IF_FAILED(At(Place::Disconnect));
    return CBaseInputPin::Disconnect();
}

STDMETHODIMP CTestInputPin::GetAllocator(IMemAllocator** allocator) {
    RETURN_IF_FAILED(At(Place::InputGetAllocator));
    if (Plan().inPlace && m_effect.Output().IsConnected())
        return m_effect.Output().Downstream()->GetAllocator(allocator);
    return CBaseInputPin::GetAllocator(allocator);
}

STDMETHODIMP CTestInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) {
    RETURN_IF_FAILED(At(Place::NotifyAllocator));
    RETURN_IF_FAILED(CBaseInputPin::NotifyAllocator(allocator, readOnly));
    if (Plan().inPlace && m_effect.Output().IsConnected())
        return m_effect.Output().Downstream()->NotifyAllocator(allocator, readOnly);
    return S_OK;
}

STDMETHODIMP CTestInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* wishes) {
    RETURN_IF_FAILED(At(Place::InputRequirements));
    return CBaseInputPin::GetAllocatorRequirements(wishes);
}

STDMETHODIMP CTestInputPin::Receive(IMediaSample* sample) {
    RETURN_IF_FAILED(At(Place::Receive));
    const HRESULT welcome = CBaseInputPin::Receive(sample);
    if (welcome != S_OK)
        return welcome;
    RETURN_IF_FAILED(m_effect.Transform(sample));
    return At(Place::ReceiveAfterDelivery);
}

// ---- output pin

CTestOutputPin::CTestOutputPin(CTestEffect& effect)
    : CBaseOutputPin(effect, L"Out", nullptr), m_effect(effect) {}

HRESULT CTestOutputPin::CheckMediaType(const AM_MEDIA_TYPE* type) {
    const bool channelsFit =
        IsFloatAudio(type) && (!Plan().monoOutput || CMediaType::Audio(type)->nChannels == 1);
    return channelsFit && m_effect.Input().IsConnected() ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

STDMETHODIMP CTestOutputPin::Connect(IPin* peer, const AM_MEDIA_TYPE* type) {
    RETURN_IF_FAILED(At(Place::OutputConnect));
    if (!Plan().changesType)
        return CBaseOutputPin::Connect(peer, type);
    CMediaType changed;
    RETURN_IF_FAILED(changed.Set(*type));
    changed.lSampleSize = 1;
    std::vector<BYTE> longer(sizeof(WAVEFORMATEX) + 22);
    std::memcpy(longer.data(), type->pbFormat, sizeof(WAVEFORMATEX));
    reinterpret_cast<WAVEFORMATEX*>(longer.data())->cbSize = 22;
    AM_MEDIA_TYPE offered = changed;
    offered.pbFormat = longer.data();
    offered.cbFormat = static_cast<ULONG>(longer.size());
    return CBaseOutputPin::Connect(peer, &offered);
}

HRESULT CTestOutputPin::CompleteConnect(IPin* peer) {
    RETURN_IF_FAILED(CBaseOutputPin::CompleteConnect(peer));
    if (Plan().reconnects && m_effect.Graph() != nullptr)
        return m_effect.Graph()->Reconnect(&m_effect.Input());
    return S_OK;
}

HRESULT CTestOutputPin::DecideAllocator(IMemInputPin* input, IMemAllocator** allocator) {
    if (Plan().inPlace && m_effect.Input().Announced() != nullptr) {
        *allocator = m_effect.Input().Announced();
        (*allocator)->AddRef();
        return input->NotifyAllocator(*allocator, FALSE);
    }
    if (!Plan().ownAllocator)
        return CBaseOutputPin::DecideAllocator(input, allocator);
    RETURN_IF_FAILED(InitAllocator(allocator));
    return SizeAndNotify(input, *allocator, {1, 0, 1, 0}, false);
}

HRESULT CTestOutputPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    // As much as a block of the host has; mono needs half of it.
    ALLOCATOR_PROPERTIES upstream{};
    RETURN_IF_FAILED(m_effect.Input().Announced()->GetProperties(&upstream));
    request->cBuffers = 1;
    request->cbBuffer = Plan().monoOutput ? upstream.cbBuffer / 2 : upstream.cbBuffer;
    ALLOCATOR_PROPERTIES actual{};
    return allocator->SetProperties(request, &actual);
}

// ---- filter

CTestEffect::CTestEffect() : CBaseFilter(CLSID_TestEffect), m_line(std::size_t{Plan().delay} * 2) {
    ::InterlockedIncrement(&Shared().record.liveObjects);
}

CTestEffect::~CTestEffect() {
    ::InterlockedDecrement(&Shared().record.liveObjects);
}

CBasePin* CTestEffect::GetPin(int n) {
    At(Place::NextPin);
    if (n == 0)
        return &m_input;
    return n == 1 ? &m_output : nullptr;
}

STDMETHODIMP_(ULONG) CTestEffect::Release() {
    AddRef();
    if (CBaseFilter::Release() == 1)
        At(Place::LastEffectRelease);
    return CBaseFilter::Release();
}

HRESULT CTestEffect::QueryFurther(REFIID iid, void** out) {
    *out = nullptr;
    if (iid == IID_ISpecifyPropertyPages) {
        RETURN_IF_FAILED(At(Place::QueryPages));
        return HandOut<ISpecifyPropertyPages>(this, out);
    }
    if (iid == IID_IPersistStream && Plan().persists) {
        RETURN_IF_FAILED(At(Place::QueryPersist));
        return HandOut<IPersistStream>(this, out);
    }
    return E_NOINTERFACE;
}

STDMETHODIMP CTestEffect::EnumPins(IEnumPins** pins) {
    RETURN_IF_FAILED(At(Place::EnumPins));
    return CBaseFilter::EnumPins(pins);
}

STDMETHODIMP CTestEffect::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) {
    RETURN_IF_FAILED(At(graph != nullptr ? Place::JoinGraph : Place::LeaveGraph));
    return CBaseFilter::JoinFilterGraph(graph, name);
}

STDMETHODIMP CTestEffect::SetSyncSource(IReferenceClock* clock) {
    RETURN_IF_FAILED(At(Place::SetSyncSource));
    return CBaseFilter::SetSyncSource(clock);
}

STDMETHODIMP CTestEffect::Pause() {
    RETURN_IF_FAILED(At(Place::Pause));
    return CBaseFilter::Pause();
}

STDMETHODIMP CTestEffect::Run(REFERENCE_TIME start) {
    RETURN_IF_FAILED(At(Place::Run));
    return CBaseFilter::Run(start);
}

STDMETHODIMP CTestEffect::Stop() {
    RETURN_IF_FAILED(At(Place::Stop));
    return CBaseFilter::Stop();
}

STDMETHODIMP CTestEffect::GetPages(CAUUID* pages) {
    RETURN_IF_FAILED(At(Place::GetPages));
    pages->cElems = Plan().pages;
    pages->pElems = static_cast<GUID*>(::CoTaskMemAlloc(sizeof(GUID) * std::max(1ul, pages->cElems)));
    if (pages->pElems == nullptr)
        return E_OUTOFMEMORY;
    std::fill_n(pages->pElems, pages->cElems, CLSID_TestPage);
    return S_OK;
}

STDMETHODIMP CTestEffect::Load(IStream* stream) {
    RETURN_IF_FAILED(At(Place::Load));
    float gain = 0;
    ULONG read = 0;
    RETURN_IF_FAILED(stream->Read(&gain, sizeof gain, &read));
    if (read != sizeof gain)
        return E_FAIL;
    Shared().plan.gain = gain;
    return S_OK;
}

STDMETHODIMP CTestEffect::Save(IStream* stream, BOOL) {
    RETURN_IF_FAILED(At(Place::Save));
    return stream->Write(&Plan().gain, sizeof(float), nullptr);
}

void CTestEffect::Note(IMediaSample* sample, std::uint32_t frames, const float* data) {
    TestEffectRecord& record = Shared().record;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    const HRESULT times = sample->GetTime(&start, &end);
    record.lastBlocks[record.blocks++ % record.lastBlocks.size()] = {
        start, frames, times == S_OK, sample->IsDiscontinuity() == S_OK};
    record.firstSample = data[0];
}

HRESULT CTestEffect::Transform(IMediaSample* sample) {
    const bool odd = Plan().frames != Frames::Same && Shared().record.blocks >= Plan().oddBlock;
    BYTE* data = nullptr;
    RETURN_IF_FAILED(sample->GetPointer(&data));
    const auto frames = static_cast<std::uint32_t>(sample->GetActualDataLength()) / 8;
    Note(sample, frames, reinterpret_cast<const float*>(data));
    if (odd && Plan().frames == Frames::None)
        return S_OK;
    const std::uint32_t given = odd && Plan().frames == Frames::Fewer ? frames - 1 : frames;
    for (int copies = odd && Plan().frames == Frames::Twice ? 2 : 1; copies > 0; --copies) {
        IMediaSample* output = sample;
        if (Plan().inPlace)
            sample->AddRef();
        else
            RETURN_IF_FAILED(m_output.GetDeliveryBuffer(&output, nullptr, nullptr, 0));
        const HRESULT delivered = Deliver(sample, output, given);
        output->Release();
        RETURN_IF_FAILED(delivered);
    }
    return S_OK;
}

HRESULT CTestEffect::Deliver(IMediaSample* input, IMediaSample* output, std::uint32_t frames) {
    BYTE* in = nullptr;
    BYTE* out = nullptr;
    RETURN_IF_FAILED(input->GetPointer(&in));
    RETURN_IF_FAILED(output->GetPointer(&out));
    const std::uint32_t channels = Plan().monoOutput ? 1 : 2;
    Process(reinterpret_cast<const float*>(in), reinterpret_cast<float*>(out), frames, channels);
    RETURN_IF_FAILED(output->SetActualDataLength(static_cast<LONG>(frames * channels * sizeof(float))));
    return m_output.CBaseOutputPin::Deliver(output);
}

void CTestEffect::Process(const float* in, float* out, std::uint32_t frames, std::uint32_t outChannels) {
    for (std::uint32_t i = 0; i < frames; ++i) {
        float frame[2] = {in[2 * i], in[2 * i + 1]};
        if (!m_line.empty()) {
            std::swap_ranges(frame, frame + 2, m_line.begin() + static_cast<std::ptrdiff_t>(m_linePos));
            m_linePos = (m_linePos + 2) % m_line.size();
        }
        for (std::uint32_t channel = 0; channel < outChannels; ++channel)
            out[outChannels * i + channel] = frame[channel] * Plan().gain + Plan().offset;
    }
}
