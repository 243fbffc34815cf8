#include "tests/effects/CTestEffect.h"

#include "dxhost/base/CEnumPins.h"
#include "support/hresult.h"
#include "tests/effects/CTestSample.h"
#include "tests/effects/faults.h"

#include <algorithm>
#include <cstring>

namespace {

using Microsoft::WRL::ComPtr;

const TestEffectPlan& Plan() {
    return Shared().plan;
}

class CTestPins : public CEnumPins {
public:
    using CEnumPins::CEnumPins;
    STDMETHODIMP Next(ULONG wanted, IPin** pins, ULONG* fetched) override {
        return Enter(
            Place::NextPin, [&] { return CEnumPins::Next(wanted, pins, fetched); }, pins);
    }
    STDMETHODIMP_(ULONG) Release() override {
        At(Place::ReleasePinEnum);
        return CEnumPins::Release();
    }
};

} // namespace

// ---- input pin

CTestInputPin::CTestInputPin(CTestEffect& effect)
    : CTestInputBase(effect, L"In", nullptr), m_effect(effect) {}

HRESULT CTestInputPin::CheckMediaType(const AM_MEDIA_TYPE* type) {
    return IsFloatAudio(type) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

STDMETHODIMP CTestInputPin::QueryInterface(REFIID iid, void** out) {
    const auto answer = [&] { return CBaseInputPin::QueryInterface(iid, out); };
    return iid == IID_IMemInputPin ? Enter(Place::QueryMemInput, answer, out) : answer();
}

STDMETHODIMP CTestInputPin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
    const auto connect = [&] { return CBaseInputPin::ReceiveConnection(connector, type); };
    return Enter(Place::ReceiveConnection, connect, nullptr, connector);
}

STDMETHODIMP CTestInputPin::GetAllocator(IMemAllocator** allocator) {
    const auto offer = [&] {
        if (Plan().inPlace && m_effect.Output().IsConnected())
            return m_effect.Output().Downstream()->GetAllocator(allocator);
        return CBaseInputPin::GetAllocator(allocator);
    };
    return Enter(Place::InputGetAllocator, offer, allocator);
}

STDMETHODIMP CTestInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) {
    const auto keep = [&] {
        RETURN_IF_FAILED(CBaseInputPin::NotifyAllocator(allocator, readOnly));
        if (Plan().inPlace && m_effect.Output().IsConnected())
            return m_effect.Output().Downstream()->NotifyAllocator(allocator, readOnly);
        return S_OK;
    };
    return Enter(Place::NotifyAllocator, keep, nullptr, allocator);
}

STDMETHODIMP CTestInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* wishes) {
    const auto wish = [&] { return *wishes = {1, 1, 1, 0}, S_OK; };
    return Enter(Place::InputRequirements, wish, wishes);
}

STDMETHODIMP CTestInputPin::Receive(IMediaSample* sample) {
    const auto process = [&] {
        const HRESULT welcome = CBaseInputPin::Receive(sample);
        return welcome == S_OK ? m_effect.Transform(sample) : welcome;
    };
    RETURN_IF_FAILED(At(Place::Receive));
    After(Place::Receive, nullptr, sample);
    const HRESULT result = process();
    return result == S_OK ? Enter(
                                Place::ReceiveAfterDelivery, [] { return S_OK; }, nullptr, sample)
                          : result;
}

// ---- output pin

CTestOutputPin::CTestOutputPin(CTestEffect& effect)
    : CTestOutputBase(effect, L"Out", nullptr), m_effect(effect) {}

HRESULT CTestOutputPin::CheckMediaType(const AM_MEDIA_TYPE* type) {
    const bool channelsFit =
        IsFloatAudio(type) && (!Plan().monoOutput || CMediaType::Audio(type)->nChannels == 1);
    return channelsFit && m_effect.Input().IsConnected() ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

STDMETHODIMP CTestOutputPin::Connect(IPin* peer, const AM_MEDIA_TYPE* type) {
    AM_MEDIA_TYPE offered = *type;
    BYTE longer[sizeof(WAVEFORMATEX) + 22] = {};
    if (Plan().changesType) {
        std::memcpy(longer, type->pbFormat, sizeof(WAVEFORMATEX));
        reinterpret_cast<WAVEFORMATEX*>(longer)->cbSize = 22;
        offered.lSampleSize = 1;
        offered.pbFormat = longer;
        offered.cbFormat = sizeof longer;
    }
    RETURN_IF_FAILED(At(Place::OutputConnect));
    After(Place::OutputConnect, &offered, nullptr);
    const HRESULT connected = CBaseOutputPin::Connect(peer, &offered);
    After(Place::OutputConnect, nullptr, peer);
    return connected;
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
    if (n == 0)
        return &m_input;
    return n == 1 ? &m_output : nullptr;
}

STDMETHODIMP CTestEffect::QueryInterface(REFIID iid, void** out) {
    const auto answer = [&] { return CBaseFilter::QueryInterface(iid, out); };
    return iid == IID_IBaseFilter ? Enter(Place::QueryBaseFilter, answer, out) : answer();
}

STDMETHODIMP_(ULONG) CTestEffect::AddRef() {
    At(Place::AddRefEffect);
    return CBaseFilter::AddRef();
}

STDMETHODIMP_(ULONG) CTestEffect::Release() {
    CBaseFilter::AddRef();
    if (CBaseFilter::Release() == 1)
        At(Place::LastEffectRelease);
    return CBaseFilter::Release();
}

HRESULT CTestEffect::QueryFurther(REFIID iid, void** out) {
    *out = nullptr;
    if (iid == IID_ISpecifyPropertyPages)
        return Enter(
            Place::QueryPages, [&] { return HandOut<ISpecifyPropertyPages>(this, out); }, out);
    if (iid == IID_IPersistStream)
        return Enter(
            Place::QueryPersist, [&] { return HandOut<IPersistStream>(this, out); }, out);
    return E_NOINTERFACE;
}

STDMETHODIMP CTestEffect::EnumPins(IEnumPins** pins) {
    const auto make = [&] { return *pins = new CTestPins(*this), (*pins)->AddRef(), S_OK; };
    return Enter(Place::EnumPins, make, pins);
}

STDMETHODIMP CTestEffect::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) {
    const auto join = [&] { return CBaseFilter::JoinFilterGraph(graph, name); };
    return Enter(graph != nullptr ? Place::JoinGraph : Place::LeaveGraph, join, nullptr, graph);
}

STDMETHODIMP CTestEffect::SetSyncSource(IReferenceClock* clock) {
    return Enter(
        Place::SetSyncSource, [&] { return CBaseFilter::SetSyncSource(clock); }, nullptr, clock);
}

STDMETHODIMP CTestEffect::Pause() {
    return Enter(
        Place::Pause, [&] { return CBaseFilter::Pause(); }, nullptr, static_cast<IBaseFilter*>(this));
}

STDMETHODIMP CTestEffect::Run(REFERENCE_TIME start) {
    return Enter(Place::Run, [&] { return CBaseFilter::Run(start); });
}

STDMETHODIMP CTestEffect::Stop() {
    return Enter(Place::Stop, [&] { return CBaseFilter::Stop(); });
}

STDMETHODIMP CTestEffect::GetPages(CAUUID* pages) {
    const auto list = [&] {
        pages->cElems = Plan().pages;
        pages->pElems = static_cast<GUID*>(::CoTaskMemAlloc(sizeof(GUID) * std::max(1ul, pages->cElems)));
        if (pages->pElems == nullptr)
            return E_OUTOFMEMORY;
        std::fill_n(pages->pElems, pages->cElems, CLSID_TestPage);
        return S_OK;
    };
    return Enter(Place::GetPages, list, pages);
}

STDMETHODIMP CTestEffect::Load(IStream* stream) {
    const auto read = [&] {
        ULONG bytes = 0;
        float gain = 0;
        RETURN_IF_FAILED(stream->Read(&gain, sizeof gain, &bytes));
        if (bytes != sizeof gain)
            return E_FAIL;
        Shared().plan.gain = gain;
        return S_OK;
    };
    return Enter(Place::Load, read, nullptr, stream);
}

STDMETHODIMP CTestEffect::Save(IStream* stream, BOOL) {
    RETURN_IF_FAILED(At(Place::Save));
    ULONG bytes = sizeof(float);
    After(Place::Save, &bytes, stream);
    std::vector<char> state(bytes);
    std::memcpy(state.data(), &Plan().gain, std::min<ULONG>(bytes, sizeof(float)));
    return stream->Write(state.data(), bytes, nullptr);
}

void CTestEffect::Note(IMediaSample* sample, std::uint32_t frames) {
    TestEffectRecord& record = Shared().record;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    const HRESULT times = sample->GetTime(&start, &end);
    record.lastBlocks[record.blocks++ % record.lastBlocks.size()] = {
        start, frames, times == S_OK, sample->IsDiscontinuity() == S_OK};
}

HRESULT CTestEffect::Transform(IMediaSample* sample) {
    const bool odd = Plan().frames != Frames::Same && Shared().record.blocks >= Plan().oddBlock;
    const auto frames = static_cast<std::uint32_t>(sample->GetActualDataLength()) / 8;
    Note(sample, frames);
    if (odd && Plan().frames == Frames::None)
        return S_OK;
    const std::uint32_t given = odd && Plan().frames == Frames::Fewer ? frames - 1 : frames;
    ComPtr<IMediaSample> output(sample);
    if (!Plan().inPlace)
        RETURN_IF_FAILED(m_output.GetDeliveryBuffer(output.ReleaseAndGetAddressOf(), nullptr, nullptr, 0));
    return Deliver(sample, output.Get(), given);
}

HRESULT CTestEffect::Deliver(IMediaSample* input, IMediaSample* output, std::uint32_t frames) {
    BYTE* in = nullptr;
    BYTE* out = nullptr;
    RETURN_IF_FAILED(input->GetPointer(&in));
    RETURN_IF_FAILED(output->GetPointer(&out));
    const std::uint32_t channels = Plan().monoOutput ? 1 : 2;
    Process(reinterpret_cast<const float*>(in), reinterpret_cast<float*>(out), frames, channels);
    RETURN_IF_FAILED(output->SetActualDataLength(static_cast<LONG>(frames * channels * sizeof(float))));
    if (!Plan().ownSamples)
        return m_output.CBaseOutputPin::Deliver(output);
    const ComPtr<IMediaSample> wrapped(new CTestSample(*output, out));
    return m_output.CBaseOutputPin::Deliver(wrapped.Get());
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
