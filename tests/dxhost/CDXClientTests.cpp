#include "dxhost/CDXClient.h"

#include "tests/effects/CTestEffects.h"

#include <doctest/doctest.h>
#include <vector>

namespace {

constexpr std::int32_t kRate = 44100;
constexpr std::int32_t kLimit = 512;
const std::vector<float> kBlock(1024, 0.25f);

bool Set(CDXClient& client) {
    return client.SetDX(CLSID_TestEffect, "Test", kRate, kLimit);
}

} // namespace

TEST_CASE("an effect is refused unless it is a filter with exactly one page that can be made") {
    const struct {
        ULONG pages;
        Place failing;
    } rows[] = {{1, Place::None}, {0, Place::None}, {2, Place::None}, {1, Place::CreateEffect},
        {1, Place::QueryPages}, {1, Place::GetPages}, {1, Place::CreatePage}, {1, Place::SetPageSite},
        {1, Place::SetObjects}, {1, Place::GetPageInfo}, {1, Place::JoinGraph}, {1, Place::ReceiveConnection},
        {1, Place::Pause}};
    CTestEffects effects;
    for (const auto& [pages, failing] : rows) {
        CAPTURE(pages);
        CAPTURE(static_cast<int>(failing));
        const bool accepted = pages == 1 && failing == Place::None;
        effects.Reset();
        effects.Plan().pages = pages;
        effects.Plan().place = failing;
        effects.Plan().fault = failing == Place::None ? Fault::None : Fault::Fail;
        {
            CDXClient client;
            CHECK(Set(client) == accepted);
            CHECK((client.FillBuffer(kBlock.data(), 512) != nullptr) == accepted);
        }
        CHECK(effects.Record().liveObjects == 0);
    }
    CDXClient client;
    CHECK_FALSE(client.SetDX(CLSID_DirectDraw, "nothing", kRate, kLimit));
}

TEST_CASE("blocks of 1 frame up to the limit are taken, a new limit starts a new stream, the same one none") {
    CTestEffects effects;
    CDXClient client;
    CHECK_FALSE(client.Reconfigure(48000, 256)); // before SetDX
    REQUIRE(Set(client));
    for (const std::uint32_t frames : {0u, 513u, 0x80000001u})
        CHECK(client.FillBuffer(kBlock.data(), frames) == nullptr);
    REQUIRE(client.FillBuffer(kBlock.data(), 512) != nullptr);
    CHECK(client.Reconfigure(kRate, kLimit));
    REQUIRE(client.FillBuffer(kBlock.data(), 1) != nullptr);
    CHECK(effects.Record().lastBlocks[1].start == 512 * 10'000'000LL / 44100);
    CHECK(client.Reconfigure(48000, 256));
    CHECK(client.FillBuffer(kBlock.data(), 257) == nullptr);
    REQUIRE(client.FillBuffer(kBlock.data(), 256) != nullptr);
    CHECK((effects.Record().lastBlocks[2].start == 0 && effects.Record().lastBlocks[2].discontinuity));
    CHECK_FALSE(client.Reconfigure(0, 256));
    CHECK(client.FillBuffer(kBlock.data(), 1) == nullptr);
}
