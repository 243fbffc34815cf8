#include "benchmarks/CEffectRig.h"

#include "benchmarks/CModuleHost.h"
#include "effects/echo/guids.h"

#include <mmreg.h>
#include <cstring>

namespace {

constexpr LONG kBufferBytes = 4096;

} // namespace

HRESULT CEffectRig::CSource::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES*) {
    ALLOCATOR_PROPERTIES request{2, kBufferBytes, 1, 0};
    ALLOCATOR_PROPERTIES granted{};
    return allocator->SetProperties(&request, &granted);
}

HRESULT CEffectRig::CSource::DecideAllocator(IMemInputPin* input, IMemAllocator** allocator) {
    m_allocator.AddRef();
    *allocator = &m_allocator;
    return SizeAndNotify(input, &m_allocator, {}, false);
}

CEffectRig::CEffectRig(std::uint32_t frames) : CBaseFilter(GUID_NULL) {
    AddRef(); // its pins do not delete it
    Must(CDxAllocator::Create(&m_allocator));
    m_source = std::make_unique<CSource>(*this, *m_allocator.Get());
    Must(::CoCreateInstance(kEchoFilterClsid, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&m_effect)));
    Must(m_effect->FindPin(L"In", &m_in));
    Must(m_effect->FindPin(L"Out", &m_out));
    Must(m_in.As(&m_input));
    CMediaType type;
    Must(type.SetAudio(HostFormat(WAVE_FORMAT_IEEE_FLOAT, 32)));
    Must(m_source->Connect(m_in.Get(), &type));
    Must(m_out->Connect(&m_sink, &type));
    Must(m_allocator->Alloc());
    Must(m_effect->Pause());
    Must(m_effect->Run(0));
    Must(Pause());
    Must(m_allocator->GetBuffer(&m_sample, nullptr, nullptr, 0));
    BYTE* data = nullptr;
    m_sample->GetPointer(&data);
    std::memset(data, 0, kBufferBytes);
    REFERENCE_TIME start = 0;
    m_sample->SetTime(&start, nullptr);
    Must(m_sample->SetActualDataLength(static_cast<LONG>(frames * 2 * sizeof(float))));
}

CEffectRig::~CEffectRig() {
    m_effect->Stop();
    Stop();
    m_sample.Reset();
    m_allocator->Free();
    for (IPin* const pin : std::initializer_list<IPin*>{m_source.get(), m_in.Get(), m_out.Get(), &m_sink})
        pin->Disconnect();
}

CBasePin* CEffectRig::GetPin(int n) {
    return n == 0 ? static_cast<CBasePin*>(m_source.get()) : &m_sink;
}
