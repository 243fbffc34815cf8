#include "dxhost/base/CBaseOutputPin.h"
#include "tests/dxhost/test_filter.h"

#include <wrl/client.h>
#include <string>

namespace {

using Microsoft::WRL::ComPtr;

// References that `object` has now.
ULONG References(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

/// Offers three channels, stereo, mono.
struct Output : CBaseOutputPin {
    using CBaseOutputPin::CBaseOutputPin;
    HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override {
        return CMediaType::Audio(type) != nullptr ? S_OK : E_INVALIDARG;
    }
    HRESULT GetMediaType(int position, CMediaType* type) override {
        return position > 2 ? VFW_S_NO_MORE_ITEMS
                            : type->SetAudio(FloatFormat(static_cast<unsigned>(3 - position)));
    }
    HRESULT CompleteConnect(IPin* peer) override {
        const HRESULT result = CBaseOutputPin::CompleteConnect(peer);
        return FAILED(result) ? result : completion;
    }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES*) override {
        ALLOCATOR_PROPERTIES request{1, 64, 1, 0};
        return allocator->SetProperties(&request, &request);
    }
    HRESULT completion = S_OK;
};

/// Two filters that can be connected; their references must be gone with them.
struct Pair {
    Pair() { ::CoInitialize(nullptr); }
    ~Pair() {
        up->Stop();
        down->Stop();
        out.Disconnect();
        in.Disconnect();
        CHECK((up.Reset() == 0 && down.Reset() == 0));
        ::CoUninitialize();
    }
    HRESULT Connect(const AM_MEDIA_TYPE* type = nullptr) { return out.Connect(&in, type); }
    void CheckApart() {
        ComPtr<IPin> peer;
        AM_MEDIA_TYPE type{};
        CHECK(
            (out.ConnectedTo(&peer) == VFW_E_NOT_CONNECTED && in.ConnectedTo(&peer) == VFW_E_NOT_CONNECTED));
        CHECK(out.ConnectionMediaType(&type) == VFW_E_NOT_CONNECTED);
        CHECK((in.Announced() == nullptr && References(up.Get()) == 1 && References(down.Get()) == 1));
    }

    ComPtr<CTestFilter> up{new CTestFilter};
    ComPtr<CTestFilter> down{new CTestFilter};
    Output& out = up->Add<Output>(L"Out");
    CTestInput& in = down->Add<CTestInput>(L"In");
};

// The names of what Next gives, "." after them when that is less than was wanted.
template <typename Item, typename Enumerator, typename Name>
std::string Next(Enumerator* walk, ULONG wanted, Name name) {
    Item* items[8] = {};
    ULONG fetched = 99;
    std::string end = walk->Next(wanted, items, &fetched) == S_OK ? "" : ".";
    std::string names;
    for (ULONG n = 0; n < fetched; ++n)
        names += name(items[n]);
    return names + end;
}

// Walks over three items.
template <typename Item, typename Enumerator, typename Name>
void CheckWalk(Enumerator* walk, Name name) {
    ComPtr<Enumerator> clone;
    CHECK(Next<Item>(walk, 2, name) == "01");
    REQUIRE(walk->Clone(&clone) == S_OK);
    CHECK((Next<Item>(walk, 5, name) == "2." && Next<Item>(walk, 1, name) == "."));
    CHECK(Next<Item>(clone.Get(), 1, name) == "2");
    CHECK((walk->Reset() == S_OK && walk->Skip(1) == S_OK && Next<Item>(walk, 1, name) == "1"));
    CHECK((walk->Skip(2) == S_FALSE && Next<Item>(walk, 1, name) == "."));
}

} // namespace

TEST_CASE("pins and media types are walked with next, skip, reset and clone") {
    Pair pair;
    pair.down->Add<CTestInput>(L"1");
    pair.down->Add<CTestInput>(L"2");
    ComPtr<IEnumPins> pins;
    ComPtr<IEnumMediaTypes> types;
    REQUIRE((pair.down->EnumPins(&pins) == S_OK && pair.out.EnumMediaTypes(&types) == S_OK));
    CheckWalk<IPin>(pins.Get(), [&](IPin* pin) {
        pin->Release();
        return pin == pair.down->GetPin(0) ? "0" : pin == pair.down->GetPin(1) ? "1" : "2";
    });
    CheckWalk<AM_MEDIA_TYPE>(types.Get(), [](AM_MEDIA_TYPE* type) {
        const int channels = CMediaType::Audio(type)->nChannels;
        CMediaType::FreeRecord(*type);
        ::CoTaskMemFree(type);
        return std::to_string(3 - channels);
    });
}

TEST_CASE("a connection is refused with the reason's code and leaves both pins free") {
    Pair pair;
    Pair other;
    FloatType quad(4);
    AM_MEDIA_TYPE video{};
    video.majortype = MEDIATYPE_Video;
    CHECK(pair.in.Connect(&pair.out, nullptr) == VFW_E_INVALID_DIRECTION);
    CHECK(pair.out.Connect(&other.out, nullptr) == VFW_E_INVALID_DIRECTION);
    CHECK(pair.Connect(&quad) == VFW_E_TYPE_NOT_ACCEPTED);
    CHECK(pair.Connect(&video) == VFW_E_NO_ACCEPTABLE_TYPES);
    pair.up->Pause();
    CHECK(pair.Connect() == VFW_E_NOT_STOPPED);
    pair.up->Stop();
    pair.down->Run(0);
    CHECK((FAILED(pair.Connect()) && pair.in.ReceiveConnection(&pair.out, &quad) == VFW_E_NOT_STOPPED));
    pair.down->Stop();
    for (HRESULT* const completion : {&pair.out.completion, &pair.in.completion}) {
        *completion = E_ACCESSDENIED;
        CHECK(pair.Connect() == E_ACCESSDENIED);
        *completion = S_OK;
        pair.CheckApart();
    }
    REQUIRE(pair.Connect() == S_OK);
    CHECK((pair.Connect() == VFW_E_ALREADY_CONNECTED && FAILED(other.out.Connect(&pair.in, nullptr))));
    CHECK(pair.in.ReceiveConnection(&other.out, &quad) == VFW_E_ALREADY_CONNECTED);
    other.CheckApart();
}

TEST_CASE("connected pins hold each other and copies of the type, until they are disconnected") {
    Pair pair;
    for (const bool given : {false, true}) {
        pair.in.channels = given ? 2 : 1; // else the last type offered
        FloatType type(2);
        REQUIRE(pair.Connect(given ? &type : nullptr) == S_OK);
        type.Format().nChannels = 7;
        CHECK((References(pair.up.Get()) == 2 && References(pair.down.Get()) > 2));
        for (CBasePin* const pin : {pair.up->GetPin(0), pair.down->GetPin(0)}) {
            CMediaType agreed;
            ComPtr<IPin> peer;
            CHECK((pin->ConnectionMediaType(&agreed) == S_OK && pin->ConnectedTo(&peer) == S_OK));
            CHECK(CMediaType::Audio(&agreed)->nChannels == pair.in.channels);
            CHECK((peer.Get() != pin && (peer.Get() == &pair.out || peer.Get() == &pair.in)));
        }
        pair.up->Pause();
        CHECK(pair.out.Disconnect() == VFW_E_NOT_STOPPED);
        pair.up->Stop();
        CHECK((pair.in.Disconnect() == S_OK && pair.out.Disconnect() == S_OK &&
               pair.out.Disconnect() == S_FALSE));
        pair.CheckApart();
    }
}

TEST_CASE("samples flow while the filters run and nothing flushes") {
    Pair pair;
    ComPtr<IMediaSample> sample;
    const auto take = [&] { return pair.out.GetDeliveryBuffer(&sample, nullptr, nullptr, 0); };
    CHECK((take() == VFW_E_NO_ALLOCATOR && pair.out.Deliver(nullptr) == VFW_E_NOT_CONNECTED));
    REQUIRE(pair.Connect() == S_OK);
    CHECK(FAILED(take())); // not committed
    REQUIRE((pair.up->Run(0) == S_OK && take() == S_OK));
    CHECK(pair.out.Deliver(sample.Get()) == VFW_E_WRONG_STATE);
    pair.down->Pause();
    CHECK(pair.out.Deliver(sample.Get()) == S_OK);
    IMediaSample* samples[] = {sample.Get(), nullptr, sample.Get()};
    LONG processed = 9;
    CHECK((pair.in.ReceiveMultiple(samples, 3, &processed) == E_POINTER && processed == 1));
    CHECK((pair.in.BeginFlush() == S_OK && pair.out.Deliver(sample.Get()) == S_FALSE));
    CHECK((pair.in.EndFlush() == S_OK && pair.out.Deliver(sample.Get()) == S_OK));
    sample.Reset();
    pair.up->Stop();
    CHECK(FAILED(take()));
}
