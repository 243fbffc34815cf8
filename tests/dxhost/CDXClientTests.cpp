#include "dxhost/CDXClient.h"

#include "tests/effects/CTestEffects.h"

#include <doctest/doctest.h>
#include <cstdlib>
#include <cstring>
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
    struct Row {
        std::string name;
        ULONG pages;
        Place failing;
        bool accepted;
    };
    const Row rows[] = {{"one page", 1, Place::None, true}, {"no page", 0, Place::None, false},
        {"two pages", 2, Place::None, false}, {"not creatable", 1, Place::CreateEffect, false},
        {"no page interface", 1, Place::QueryPages, false},
        {"asking for pages fails", 1, Place::GetPages, false},
        {"page not creatable", 1, Place::CreatePage, false},
        {"page refuses its site", 1, Place::SetPageSite, false},
        {"page refuses the effect", 1, Place::SetObjects, false},
        {"page has no information", 1, Place::GetPageInfo, false},
        {"refuses the graph", 1, Place::JoinGraph, false},
        {"refuses the type", 1, Place::ReceiveConnection, false}, {"does not pause", 1, Place::Pause, false}};
    CTestEffects effects;
    for (const Row& row : rows) {
        CAPTURE(row.name);
        effects.Reset();
        effects.Plan().pages = row.pages;
        effects.Plan().place = row.failing;
        effects.Plan().fault = row.failing == Place::None ? Fault::None : Fault::Fail;
        {
            CDXClient client;
            CHECK(Set(client) == row.accepted);
            CHECK((client.FillBuffer(kBlock.data(), 512) != nullptr) == row.accepted);
        }
        CHECK(effects.Record().liveObjects == 0);
    }
    CDXClient client;
    CHECK_FALSE(client.SetDX(CLSID_DirectDraw, "nothing", kRate, kLimit));
}

TEST_CASE("a client is set up once") {
    CTestEffects effects;
    CDXClient client;
    REQUIRE(Set(client));
    CHECK_FALSE(Set(client));
    CHECK(effects.Calls(Place::CreateEffect) == 1);
    CHECK(std::strcmp(client.Name(), "Test") == 0);
    CHECK(client.FillBuffer(kBlock.data(), 512) != nullptr);
}

TEST_CASE("FillBuffer takes 1 frame up to the block limit") {
    CTestEffects effects;
    CDXClient client;
    CHECK(client.FillBuffer(kBlock.data(), 1) == nullptr); // before SetDX
    REQUIRE(Set(client));
    CHECK(client.FillBuffer(kBlock.data(), 0) == nullptr);
    CHECK(client.FillBuffer(kBlock.data(), 513) == nullptr);
    CHECK(client.FillBuffer(kBlock.data(), 0x80000001u) == nullptr);
    CHECK(client.FillBuffer(kBlock.data(), 1) != nullptr);
    CHECK(client.FillBuffer(kBlock.data(), 512) != nullptr);
}

TEST_CASE("a state goes out and comes back, and what can't be saved gives none") {
    CTestEffects effects;
    void* state = nullptr;
    std::uint32_t size = 0;
    {
        CDXClient client;
        CHECK_FALSE(client.GetState(&state, &size)); // before SetDX
        REQUIRE(Set(client));
        effects.Plan().gain = 0.5f;
        REQUIRE(client.GetState(&state, &size));
        CHECK(size >= sizeof(float)); // the whole memory block
        effects.Plan().gain = 1;
        CHECK_FALSE(client.SetState(nullptr, 4));
        CHECK_FALSE(client.SetState(state, 0));
        CHECK_FALSE(client.SetState("ab", 2)); // too short for the effect
        CHECK(client.SetState(state, size));
        CHECK(effects.Plan().gain == 0.5f);
        std::free(state);
    }
    for (const bool persists : {false, true}) {
        effects.Reset();
        effects.Plan().persists = persists;
        effects.Plan().place = Place::Save;
        effects.Plan().fault = Fault::Fail;
        CDXClient client;
        REQUIRE(Set(client));
        state = &size;
        size = 77;
        CHECK_FALSE(client.GetState(&state, &size));
        CHECK(state == nullptr);
        CHECK(size == 0);
        CHECK(client.SetState("abcd", 4) == persists);
    }
}

TEST_CASE("Reconfigure rebuilds for new values and leaves the stream alone for the same ones") {
    CTestEffects effects;
    CDXClient client;
    CHECK_FALSE(client.Reconfigure(48000, 256)); // before SetDX
    REQUIRE(Set(client));
    REQUIRE(client.FillBuffer(kBlock.data(), 512) != nullptr);
    const int connected = effects.Calls(Place::ReceiveConnection);
    CHECK(client.Reconfigure(kRate, kLimit));
    REQUIRE(client.FillBuffer(kBlock.data(), 512) != nullptr);
    CHECK(effects.Record().lastBlocks[1].start == 512 * 10'000'000LL / 44100);
    CHECK(effects.Calls(Place::ReceiveConnection) == connected);
    CHECK(client.Reconfigure(48000, 256));
    CHECK(client.FillBuffer(kBlock.data(), 257) == nullptr);
    REQUIRE(client.FillBuffer(kBlock.data(), 256) != nullptr);
    CHECK(effects.Record().lastBlocks[2].start == 0);
    CHECK(effects.Record().lastBlocks[2].discontinuity);
    CHECK_FALSE(client.Reconfigure(0, 256));
    CHECK(client.FillBuffer(kBlock.data(), 1) == nullptr);
}

TEST_CASE("the page is shown in the given window at its own size and taken down again") {
    CTestEffects effects;
    HWND const parent = ::CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 300, 200,
        nullptr, nullptr, nullptr, nullptr);
    REQUIRE(parent != nullptr);
    {
        CDXClient client;
        client.OpenEditor(parent); // nothing to show yet
        client.CloseEditor();
        REQUIRE(Set(client));
        std::int32_t cx = 0;
        std::int32_t cy = 0;
        client.GetPageSize(&cx, &cy);
        CHECK(cx == 120);
        CHECK(cy == 80);
        client.OpenEditor(parent);
        HWND const page = effects.Record().pageWindow;
        REQUIRE(::IsWindow(page));
        CHECK(::GetParent(page) == parent);
        CHECK(::IsWindowVisible(page));
        RECT area{};
        ::GetClientRect(page, &area);
        CHECK(area.right == 120);
        CHECK(area.bottom == 80);
        client.CloseEditor();
        CHECK_FALSE(::IsWindow(page));
        client.OpenEditor(parent);
    }
    CHECK(effects.Record().pageWindow == nullptr); // destroying the client took the page down
    CHECK(effects.Record().liveObjects == 0);
    ::DestroyWindow(parent);
}

TEST_CASE("the effect and its page are let go in the prescribed order") {
    CTestEffects effects;
    {
        CDXClient client;
        REQUIRE(Set(client));
        CHECK(effects.Calls(Place::Run) == 1);
        CHECK(effects.Calls(Place::LastPageRelease) == 0);
    }
    CHECK(effects.Calls(Place::Deactivate) == 1);
    CHECK(effects.Calls(Place::Stop) >= 1);
    CHECK(effects.Calls(Place::LeaveGraph) >= 1);
    CHECK(effects.Calls(Place::LastPageRelease) == 1);
    CHECK(effects.Calls(Place::LastEffectRelease) == 1);
    CHECK(effects.Record().liveObjects == 0);
}
