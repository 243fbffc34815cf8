#include "dxhost/CDxFilterGraph.h"

#include "dxhost/CDxBufRenderer.h"
#include "dxhost/CDxNullSource.h"
#include "dxhost/base/CBasePin.h"
#include "support/hresult.h"

#include <mmreg.h>
#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr WORD kChannels = 2;
constexpr std::int64_t kTicksPerSecond = 10'000'000; // of 100 ns
constexpr int kMostPins = 256;                       // an enumerator that never ends is not followed further

WAVEFORMATEX FloatFormat(WORD channels, std::int32_t rate) {
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_IEEE_FLOAT;
    format.nChannels = channels;
    format.nSamplesPerSec = static_cast<DWORD>(rate);
    format.nBlockAlign = static_cast<WORD>(channels * sizeof(float));
    format.nAvgBytesPerSec = format.nBlockAlign * format.nSamplesPerSec;
    format.wBitsPerSample = 32;
    return format;
}

} // namespace

CDxFilterGraph::CDxFilterGraph(HRESULT* result, CForeignGuardPtr guard)
    : m_guard(guard != nullptr ? std::move(guard) : std::make_shared<CForeignGuard>()) {
    *result = ::CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
        reinterpret_cast<void**>(&m_builder));
    if (SUCCEEDED(*result))
        *result = CDxAllocator::Create(&m_allocator, m_guard);
    if (m_allocator != nullptr) {
        m_allocator->Own();
        m_allocator->Release(); // the owner needs no reference
    }
    if (SUCCEEDED(*result))
        *result = m_builder->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&m_control));
    if (m_builder != nullptr)
        HoldReserve(m_builder);
}

CDxFilterGraph::~CDxFilterGraph() {
    Stop();
    {
        const CAutoLock lock(m_lock);
        Teardown();
    }
    m_guard->Call([this] {
        if (m_builder != nullptr && ReleaseReserve(m_builder) &&
            (m_control == nullptr || m_control->Release() != 0))
            m_builder->Release();
    });
    m_guard->Release(m_effect);
    if (m_allocator != nullptr)
        m_allocator->Disown();
}

HRESULT CDxFilterGraph::SetEffect(IBaseFilter* effect) {
    const CAutoLock lock(m_lock);
    if (effect == m_effect)
        return S_OK;
    Teardown();
    m_guard->Release(m_effect);
    if (effect == nullptr)
        return S_OK;
    RETURN_IF_FAILED(m_guard->Call([effect] { effect->AddRef(); }));
    m_effect = effect;
    return Rebuild();
}

HRESULT CDxFilterGraph::SetSampleRate(std::int32_t rate) {
    if (rate < 1)
        return E_INVALIDARG;
    const CAutoLock lock(m_lock);
    if (rate == m_sampleRate)
        return S_OK;
    Teardown();
    m_sampleRate = rate;
    return Rebuild();
}

HRESULT CDxFilterGraph::SetBlockLimit(std::int32_t frames) {
    if (frames < 1)
        return E_INVALIDARG;
    const CAutoLock lock(m_lock);
    if (frames == m_blockLimit)
        return S_OK;
    Teardown();
    m_blockLimit = frames;
    return Rebuild();
}

HRESULT CDxFilterGraph::Rebuild() {
    if (m_effect == nullptr)
        return S_OK;
    const HRESULT built = Build();
    if (FAILED(built))
        Teardown();
    return built;
}

HRESULT CDxFilterGraph::Build() {
    if (m_connected)
        return S_OK;
    if (m_builder == nullptr || m_allocator == nullptr)
        return E_FAIL;
    m_stage = Stage::None;
    m_outputChannels = 0;
    RETURN_IF_FAILED(MakeFilters());
    RETURN_IF_FAILED(AddFilters());
    RETURN_IF_FAILED(FindPin(PINDIR_INPUT, &m_effectInput));
    RETURN_IF_FAILED(FindPin(PINDIR_OUTPUT, &m_effectOutput));
    m_stage = Stage::Joined;
    RETURN_IF_FAILED(Connect());
    m_stage = Stage::OutputConnected;
    m_outputChannels = m_renderer->Format().nChannels;
    RETURN_IF_FAILED(m_allocator->Alloc());
    m_connected = true;
    return S_OK;
}

HRESULT CDxFilterGraph::MakeFilters() {
    const std::int64_t bufferBytes = std::int64_t{m_blockLimit} * kChannels * sizeof(float);
    if (bufferBytes > CDxAllocator::kSizeCapBytes)
        return E_FAIL; // more than the shared allocator grants
    try {
        m_padded.resize(static_cast<std::size_t>(m_blockLimit) * kChannels);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    HRESULT result = S_OK;
    m_renderer = new (std::nothrow) CDxBufRenderer(&result, m_guard);
    if (m_renderer == nullptr)
        return E_OUTOFMEMORY;
    m_renderer->Own();
    RETURN_IF_FAILED(result);
    m_source = new (std::nothrow) CDxNullSource(
        &result, FloatFormat(kChannels, m_sampleRate), static_cast<std::uint32_t>(bufferBytes), m_guard);
    if (m_source == nullptr)
        return E_OUTOFMEMORY;
    m_source->Own();
    RETURN_IF_FAILED(result);
    m_source->SetAllocator(m_allocator);
    m_renderer->InputPin().SetAllocator(m_allocator);
    return S_OK;
}

HRESULT CDxFilterGraph::AddFilters() {
    return m_guard->Call([this] {
        RETURN_IF_FAILED(m_builder->AddFilter(m_source, L"FilterGraph Src"));
        RETURN_IF_FAILED(m_builder->AddFilter(m_effect, L"FilterGraph Xform"));
        return m_builder->AddFilter(m_renderer, L"FilterGraph Dst");
    });
}

HRESULT CDxFilterGraph::FindPin(PIN_DIRECTION direction, IPin** pin) {
    IEnumPins* pins = nullptr;
    RETURN_IF_FAILED(m_guard->Call([&] { return m_effect->EnumPins(&pins); }));
    HRESULT result = pins == nullptr ? E_FAIL : S_OK;
    for (int n = 0; SUCCEEDED(result) && *pin == nullptr; ++n) {
        IPin* candidate = nullptr;
        PIN_INFO info{};
        result = m_guard->Call([&] { return pins->Next(1, &candidate, nullptr) == S_OK ? S_OK : E_FAIL; });
        if (SUCCEEDED(result) && candidate != nullptr)
            result = m_guard->Call([&] { return candidate->QueryPinInfo(&info); });
        m_guard->Release(info.pFilter);
        if (SUCCEEDED(result) && candidate != nullptr && DirectionNumber(info.dir) == direction)
            *pin = candidate;
        else
            m_guard->Release(candidate);
        if (SUCCEEDED(result) && n == kMostPins)
            result = E_FAIL;
    }
    m_guard->Release(pins);
    return result;
}

HRESULT CDxFilterGraph::Connect() {
    CMediaType stereo;
    CMediaType mono;
    RETURN_IF_FAILED(stereo.SetAudio(FloatFormat(kChannels, m_sampleRate)));
    RETURN_IF_FAILED(mono.SetAudio(FloatFormat(1, m_sampleRate)));
    IPin* const sourceOutput = m_source->GetPin(0);
    IPin* const rendererInput = m_renderer->GetPin(0);
    RETURN_IF_FAILED(
        m_guard->Call([&] { return m_builder->ConnectDirect(sourceOutput, m_effectInput, &stereo); }));
    m_stage = Stage::InputConnected;
    const HRESULT connected =
        m_guard->Call([&] { return m_builder->ConnectDirect(m_effectOutput, rendererInput, &stereo); });
    if (SUCCEEDED(connected))
        return connected;
    return m_guard->Call([&] { return m_builder->ConnectDirect(m_effectOutput, rendererInput, &mono); });
}

void CDxFilterGraph::Teardown() {
    if (m_renderer != nullptr)
        m_renderer->ReleaseSample();
    DisconnectAll();
    m_guard->Release(m_effectInput);
    m_guard->Release(m_effectOutput);
    // Ours in any case: after a fault the graph manager, which is then left alone, holds references of its
    // own.
    if (m_source != nullptr)
        std::exchange(m_source, nullptr)->Disown();
    if (m_renderer != nullptr)
        std::exchange(m_renderer, nullptr)->Disown();
    m_connected = false;
    if (m_allocator != nullptr) {
        m_allocator->Free();
        m_allocator->Reset(0);
    }
}

void CDxFilterGraph::DisconnectAll() {
    if (m_builder == nullptr || m_source == nullptr || m_renderer == nullptr)
        return;
    // Pins of filters that run refuse to be disconnected.
    m_guard->Call([this] { return m_control == nullptr ? S_OK : m_control->Stop(); });
    for (IPin* const pin : {static_cast<IPin*>(m_source->GetPin(0)), m_effectInput, m_effectOutput,
             static_cast<IPin*>(m_renderer->GetPin(0))})
        if (pin != nullptr)
            m_guard->Call([&] { return m_builder->Disconnect(pin); });
    for (IBaseFilter* const filter :
        {static_cast<IBaseFilter*>(m_source), m_effect, static_cast<IBaseFilter*>(m_renderer)})
        m_guard->Call([&] { return m_builder->RemoveFilter(filter); });
}

HRESULT CDxFilterGraph::Control(HRESULT (STDMETHODCALLTYPE IMediaControl::*operation)()) {
    if (m_control == nullptr)
        return E_FAIL;
    const HRESULT result = m_guard->Call([&] { return (m_control->*operation)(); });
    return SUCCEEDED(result) ? S_OK : result;
}

HRESULT CDxFilterGraph::Pause() {
    const CAutoLock lock(m_lock);
    return Control(&IMediaControl::Pause);
}

HRESULT CDxFilterGraph::Run() {
    const CAutoLock lock(m_lock);
    m_discontinuity = true;
    return Control(&IMediaControl::Run);
}

HRESULT CDxFilterGraph::Stop() {
    const CAutoLock lock(m_lock);
    return Control(&IMediaControl::Stop);
}

HRESULT CDxFilterGraph::SetPosition(std::int64_t frames) {
    const CAutoLock lock(m_lock);
    m_position = frames;
    m_discontinuity = true;
    return S_OK;
}

HRESULT CDxFilterGraph::Process(const float** data, std::int32_t frames) {
    const CAutoLock lock(m_lock);
    if (!m_connected || m_renderer == nullptr)
        return E_FAIL;
    if (frames < 1 || frames > m_blockLimit)
        return E_INVALIDARG;
    const CForeignGuard::CModesKept modes(*m_guard);
    const REFERENCE_TIME start = m_position * kTicksPerSecond / m_sampleRate;
    // An effect that gives nothing for this block must not be answered with the block before.
    m_renderer->ReleaseSample();
    m_framesGiven = 0;
    m_source->Stream().SetPendingData(reinterpret_cast<const std::uint8_t*>(*data));
    const HRESULT delivered =
        m_source->Stream().DeliverBlock(start, static_cast<std::uint32_t>(frames), m_discontinuity);
    m_source->Stream().SetPendingData(nullptr);
    RETURN_IF_FAILED(delivered);
    m_position += frames;
    m_discontinuity = false;
    return TakeOutput(data, static_cast<std::uint32_t>(frames));
}

HRESULT CDxFilterGraph::TakeOutput(const float** data, std::uint32_t frames) {
    std::uint8_t* bytes = nullptr;
    std::uint32_t count = 0;
    std::uint32_t readable = 0;
    RETURN_IF_FAILED(m_renderer->GetOutput(&bytes, &count, &readable));
    m_framesGiven = count;
    if (count != frames)
        return E_FAIL;
    *data = reinterpret_cast<const float*>(bytes);
    if (readable >= frames * kChannels * sizeof(float))
        return S_OK;
    std::fill(m_padded.begin(), m_padded.end(), 0.0f);
    RETURN_IF_FAILED(m_guard->Call([&] { std::memcpy(m_padded.data(), bytes, readable); }));
    *data = m_padded.data();
    return S_OK;
}

HRESULT CDxFilterGraph::ReleaseOutput() {
    const CAutoLock lock(m_lock);
    if (m_renderer != nullptr)
        m_renderer->ReleaseSample();
    return S_OK;
}
