#include "dxhost/CDxAllocator.h"

#include <doctest/doctest.h>
#include <wrl/client.h>
#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace {

using Microsoft::WRL::ComPtr;
using Sample = ComPtr<IMediaSample>;
using Figures = std::array<LONG, 4>; // count, size, alignment, prefix

Figures Of(const ALLOCATOR_PROPERTIES& p) {
    return {p.cBuffers, p.cbBuffer, p.cbAlign, p.cbPrefix};
}

/// An allocator whose references must be gone with it.
struct Allocator {
    explicit Allocator(const Figures& request = {}) {
        REQUIRE(CDxAllocator::Create(&shared) == S_OK);
        if (request[0] > 0)
            Prepare(request);
    }
    ~Allocator() { CHECK(shared.Reset() == 0); }
    CDxAllocator* operator->() const { return shared.Get(); }

    HRESULT Ask(Figures figures, Figures* granted = nullptr) {
        ALLOCATOR_PROPERTIES request{figures[0], figures[1], figures[2], figures[3]};
        ALLOCATOR_PROPERTIES actual{};
        const HRESULT result = shared->SetProperties(&request, &actual);
        *(granted != nullptr ? granted : &figures) = Of(actual);
        return result;
    }
    void Prepare(const Figures& request) {
        REQUIRE((shared->Reset(0) == S_OK && Ask(request) == S_OK && shared->Alloc() == S_OK));
    }
    HRESULT Take(Sample& sample) { return shared->GetBuffer(&sample, nullptr, nullptr, 0); }
    /// The data, in order, of all samples that can be had at once.
    std::vector<BYTE*> TakeAll() {
        std::vector<Sample> samples;
        std::vector<BYTE*> data;
        for (Sample sample; Take(sample) == S_OK; samples.push_back(sample))
            CHECK(sample->GetPointer(&data.emplace_back()) == S_OK);
        std::sort(data.begin(), data.end());
        return data;
    }

    ComPtr<CDxAllocator> shared;
};

} // namespace

TEST_CASE("requests add up in count, the largest size up to the cap wins, the first one's prefix stays") {
    constexpr LONG kCap = 131072;
    const std::vector<std::array<Figures, 3>> kSequences[] = {// request, granted, reported afterwards
        {{{{1, 100, 1, 0}, {1, 100, 1, 0}, {1, 100, 1, 0}}},
            {{{1, 4096, 1, 0}, {2, 4096, 1, 0}, {2, 4096, 1, 0}}},
            {{{2, 200, 1, 0}, {4, 200, 1, 0}, {2, 4096, 1, 0}}}},
        {{{{1, kCap + 1, 0, 0}, {1, kCap, 1, 0}, {1, kCap, 1, 0}}},
            {{{MAXLONG, MAXLONG, MAXLONG, MAXLONG}, {MAXLONG, kCap, MAXLONG, 0}, {2, kCap, MAXLONG, 0}}}},
        {{{{1, 100, 16, 4}, {1, 108, 16, 4}, {1, 108, 16, 4}}},
            {{{1, 10, 4, 8}, {2, 12, 16, 4}, {2, 108, 16, 4}}},
            {{{1, 200, 32, 0}, {3, 224, 32, 4}, {2, 224, 32, 4}}}}};
    Allocator allocator;
    for (const auto& sequence : kSequences) {
        REQUIRE(allocator->Reset(0) == S_OK);
        for (const auto& [request, expected, afterwards] : sequence) {
            CAPTURE(request[1]);
            Figures granted{};
            ALLOCATOR_PROPERTIES reported{};
            CHECK((allocator.Ask(request, &granted) == S_OK && granted == expected));
            CHECK((allocator->GetProperties(&reported) == S_OK && Of(reported) == afterwards));
        }
    }
    Figures granted{};
    CHECK((allocator->Reset(3) == S_OK && allocator.Ask({2, 8, 1, 0}, &granted) == S_OK && granted[0] == 5));
}

TEST_CASE("each misuse has its code") {
    Allocator allocator;
    Sample sample;
    CHECK((allocator->Alloc() == S_OK && allocator->Commit() == S_OK)); // nothing asked for, nothing made
    CHECK(allocator.Take(sample) == VFW_E_NOT_COMMITTED);
    for (const Figures& negative : {Figures{-1, 8, 1, 0}, {1, -8, 1, 0}, {1, 8, 1, -1}})
        CHECK(allocator.Ask(negative) == E_INVALIDARG);
    for (const Figures& half : {Figures{1, 0, 1, 0}, {0, 8, 1, 0}}) {
        CHECK((allocator.Ask(half) == S_OK && allocator->Alloc() == VFW_E_SIZENOTSET));
        allocator->Reset(0);
    }
    CHECK((allocator.Ask({65536, 65537, 1, 0}) == S_OK && allocator->Alloc() == E_OUTOFMEMORY)); // over 2^32
    allocator.Prepare({1, 8, 1, 0});
    CHECK(allocator.Ask({1, 8, 1, 0}) == VFW_E_ALREADY_COMMITTED);
    CHECK((allocator->Decommit() == S_OK && allocator.Take(sample) == S_OK));
}

TEST_CASE("with every sample out the next request fails at once, and a returned one serves again") {
    Allocator allocator({2, 64, 1, 0});
    Sample samples[3];
    REQUIRE((allocator.Take(samples[0]) == S_OK && allocator.Take(samples[1]) == S_OK));
    CHECK(allocator.Take(samples[2]) == E_OUTOFMEMORY);
    samples[0].Reset();
    CHECK(allocator->Outstanding() == 1);
    CHECK((allocator.Take(samples[2]) == S_OK && allocator->MostOutstanding() == 2));
}

TEST_CASE("buffers lie apart, each behind its prefix, and are writable to the last byte") {
    Allocator allocator({3, 1000, 16, 40}); // which together fill whole units
    const std::vector<BYTE*> data = allocator.TakeAll();
    REQUIRE((data.size() == 3 && data[1] - data[0] >= 1040 && data[2] - data[1] >= 1040));
    MEMORY_BASIC_INFORMATION block[2]{};
    for (BYTE* const end : {data[0] - 40, data[2] + 999})
        REQUIRE(::VirtualQuery(end, &block[end > data[0]], sizeof block[0]) != 0);
    CHECK(block[0].AllocationBase == block[1].AllocationBase);
}

TEST_CASE("deferred silence comes with the first look at the data, in whole words of the actual length") {
    for (const auto& [actual, zeroed] : {std::pair{22L, 20}, {8L, 8}, {7L, 4}, {0L, 0}}) {
        CAPTURE(actual);
        Allocator allocator({1, 22, 1, 0});
        Sample sample;
        ComPtr<IDeferZeroFill> deferrer;
        BYTE* data = nullptr;
        REQUIRE((allocator.Take(sample) == S_OK && sample.As(&deferrer) == S_OK));
        REQUIRE((sample->GetPointer(&data) == S_OK && sample->SetActualDataLength(actual) == S_OK));
        std::fill(data, data + 22, BYTE{1});
        deferrer->SetDeferZeroFill(TRUE);
        CHECK((sample->GetPointer(&data) == S_OK && std::find(data, data + 22, 1) - data == zeroed));
        CHECK(std::count(data, data + 22, 0) == zeroed);
        data[0] = 1;
        CHECK((sample->GetPointer(&data) == S_OK && data[0] == 1)); // once only
    }
}

TEST_CASE("a sample returned after a teardown stays readable until then and is never handed out again") {
    const Figures kTwo{2, 64, 1, 0};
    for (const auto& [reset, early] : {std::pair{true, true}, {true, false}, {false, true}, {false, false}}) {
        CAPTURE(reset);
        CAPTURE(early);
        Allocator allocator(kTwo);
        Sample late;
        BYTE* data = nullptr;
        REQUIRE((allocator.Take(late) == S_OK && late->GetPointer(&data) == S_OK));
        data[63] = 7;
        CHECK(allocator->Free() == S_OK);
        if (early)
            late.Reset();
        if (reset) // for a new graph; else the same figures serve once more
            allocator.Prepare(kTwo);
        else
            CHECK(allocator->Alloc() == S_OK);
        CHECK((early || data[63] == 7));
        late.Reset();
        const std::vector<BYTE*> all = allocator.TakeAll();
        CHECK((all.size() == 2 && all[0] != all[1] && allocator->Outstanding() == 0));
    }
}
