#include "dxhost/CDxAllocator.h"
#include "dxhost/CDxBufRenderer.h"
#include "dxhost/CDxNullSource.h"
#include "tests/dxhost/test_filter.h"

#include <wrl/client.h>
#include <algorithm>

namespace {

using Microsoft::WRL::ComPtr;

constexpr std::uint32_t kBufferBytes = 64;

/// Keeps what it receives.
struct Sink : CTestInput {
    using CTestInput::CTestInput;
    STDMETHODIMP Receive(IMediaSample* sample) override {
        BYTE* data = nullptr;
        timed = sample->GetTime(&start, &end);
        discontinuity = sample->IsDiscontinuity();
        CHECK(sample->GetPointer(&data) == S_OK);
        bytes.assign(data, data + sample->GetActualDataLength());
        ++received;
        return answer;
    }

    HRESULT answer = S_OK;
    int received = 0;
    HRESULT timed = E_FAIL, discontinuity = E_FAIL;
    REFERENCE_TIME start = 0, end = 0;
    std::vector<BYTE> bytes;
};

/// The source with its allocator, and a filter of the test's behind it. References must be gone at the end.
struct Rig {
    Rig() {
        ::CoInitialize(nullptr);
        REQUIRE(CDxAllocator::Create(&shared) == S_OK);
        REQUIRE(source->SetAllocator(shared.Get()) == S_OK);
    }
    ~Rig() {
        source->Stream().Disconnect();
        in.Disconnect();
        CHECK((source.Reset() == 0 && down.Reset() == 0 && shared.Reset() == 0));
        ::CoUninitialize();
    }
    HRESULT Deliver(const void* data, std::uint32_t frames, bool discontinuity = false) {
        source->Stream().SetPendingData(static_cast<const std::uint8_t*>(data));
        return source->Stream().DeliverBlock(7000, frames, discontinuity);
    }

    HRESULT made = S_OK;
    ComPtr<CDxAllocator> shared;
    ComPtr<CDxNullSource> source{
        new CDxNullSource(&made, FloatFormat(2), kBufferBytes, std::make_shared<CForeignGuard>())};
    ComPtr<CTestFilter> down{new CTestFilter};
    Sink& in = down->Add<Sink>(L"In");
};

ComPtr<CDxBufRenderer> MakeRenderer() {
    HRESULT made = S_OK;
    ComPtr<CDxBufRenderer> renderer(new CDxBufRenderer(&made, std::make_shared<CForeignGuard>()));
    REQUIRE(made == S_OK);
    return renderer;
}

/// A sample of 64 bytes that claims any length, counted by the test.
class CClaimingSample : public CMediaSample {
public:
    CClaimingSample(CDxAllocator& allocator, LONG claim)
        : CMediaSample(allocator, m_data, 64), m_claim(claim) {}
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }
    STDMETHODIMP_(LONG) GetActualDataLength() override { return m_claim; }
    ULONG references = 0;

private:
    BYTE m_data[64] = {};
    const LONG m_claim;
};

} // namespace

TEST_CASE("source and renderer take float audio of one or two channels and nothing else") {
    const struct {
        const char* name;
        void (*change)(FloatType&);
        bool source, renderer;
    } kCases[] = {{"stereo", [](FloatType&) {}, true, true},
        {"mono", [](FloatType& type) { type.Format().nChannels = 1; }, true, true},
        {"three channels", [](FloatType& type) { type.Format().nChannels = 3; }, false, false},
        {"no channel", [](FloatType& type) { type.Format().nChannels = 0; }, false, false},
        {"24 bits", [](FloatType& type) { type.Format().wBitsPerSample = 24; }, false, false},
        {"integers", [](FloatType& type) { type.Format().wFormatTag = 1; }, false, false},
        {"video", [](FloatType& type) { type.majortype = MEDIATYPE_Video; }, false, false},
        {"compressed", [](FloatType& type) { type.bTemporalCompression = TRUE; }, false, false},
        {"variable size", [](FloatType& type) { type.bFixedSizeSamples = FALSE; }, false, false},
        {"cut format", [](FloatType& type) { type.cbFormat = 15; }, false, false},
        {"no format", [](FloatType& type) { type.Clear(), type.majortype = MEDIATYPE_Audio; }, false, false},
        {"other subtype", [](FloatType& type) { type.subtype = MEDIASUBTYPE_RGB1; }, true, true},
        {"other format type", [](FloatType& type) { type.formattype = FORMAT_VideoInfo; }, true, false}};
    Rig rig;
    const ComPtr<CDxBufRenderer> renderer = MakeRenderer();
    for (const auto& row : kCases) {
        CAPTURE(row.name);
        FloatType type(2);
        row.change(type);
        CHECK(rig.source->Stream().CheckMediaType(&type) == (row.source ? S_OK : E_INVALIDARG));
        CHECK(renderer->InputPin().CheckMediaType(&type) == (row.renderer ? S_OK : E_INVALIDARG));
    }
}

TEST_CASE("a delivery is one sample with its start, its mark and the frames, or silence without any") {
    Rig rig;
    CHECK(rig.Deliver(nullptr, 1) == VFW_E_NO_ALLOCATOR);
    REQUIRE(rig.source->Stream().Connect(&rig.in, nullptr) == S_OK);
    CHECK(rig.Deliver(nullptr, 1) == VFW_E_NOT_COMMITTED);
    REQUIRE(rig.shared->Alloc() == S_OK);
    const std::vector<BYTE> loud(kBufferBytes, 0x5A);
    CHECK((rig.Deliver(loud.data(), 8, true) == S_OK && rig.in.bytes == loud));
    CHECK((rig.in.timed == VFW_S_NO_STOP_TIME && rig.in.start == 7000 && rig.in.discontinuity == S_OK));
    CHECK((rig.Deliver(loud.data(), 3) == S_OK && rig.in.bytes == std::vector<BYTE>(24, 0x5A)));
    CHECK(rig.in.discontinuity == S_FALSE);
    for (const std::uint32_t frames : {8u, 5u, 0u}) { // what was pending is used once
        CHECK(rig.source->Stream().DeliverBlock(0, frames, false) == S_OK);
        CHECK(rig.in.bytes == std::vector<BYTE>(frames * 8));
    }
    CHECK(rig.Deliver(loud.data(), 9) == VFW_E_BUFFER_OVERFLOW);
    CHECK(rig.Deliver(loud.data(), 0x1000'0000) == VFW_E_BUFFER_OVERFLOW);
    CHECK(rig.in.received == 5);
    rig.in.answer = E_ABORT;
    CHECK(rig.Deliver(loud.data(), 8) == E_ABORT);
    CHECK(rig.shared->Outstanding() == 0);
    rig.shared->Free();
}

TEST_CASE("the renderer holds the last sample, once, and tells where its frames are") {
    ComPtr<CDxAllocator> allocator;
    REQUIRE(CDxAllocator::Create(&allocator) == S_OK);
    CClaimingSample first(*allocator.Get(), 24);
    CClaimingSample second(*allocator.Get(), 64);
    ComPtr<CDxBufRenderer> renderer = MakeRenderer();
    CDxBufRendererInputPin& in = renderer->InputPin();
    std::uint8_t* data = nullptr;
    std::uint32_t frames = 0;
    std::uint32_t readable = 0;
    CHECK((renderer->ReleaseSample() == 1 && renderer->GetOutput(&data, &frames, &readable) == E_FAIL));
    for (int n = 0; n < 2; ++n)
        CHECK((in.Receive(&first) == S_OK && first.references == 1)); // although stopped
    for (const unsigned channels : {1u, 2u}) {
        CHECK(in.SetMediaType(std::make_unique<FloatType>(channels).get()) == S_OK);
        REQUIRE(renderer->GetOutput(&data, &frames, &readable) == S_OK);
        CHECK((frames == 24 / (4 * channels) && readable == 64));
    }
    CHECK((in.Receive(&second) == S_OK && first.references == 0 && in.Receive(nullptr) == S_FALSE));
    CHECK((renderer->GetOutput(&data, &frames, &readable) == S_OK && frames == 8));
    CHECK((renderer->ReleaseSample() == 0 && second.references == 0));
    for (const LONG claim : {-1L, 65L}) {
        CClaimingSample nonsense(*allocator.Get(), claim);
        in.Receive(&nonsense);
        CHECK(renderer->GetOutput(&data, &frames, &readable) == E_FAIL);
        renderer->ReleaseSample();
    }
    in.Receive(&first);
    CHECK((renderer.Reset() == 0 && first.references == 0));
}
