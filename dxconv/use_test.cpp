#include "dxconv/use_test.h"

#include "config/test_candidate.h"
#include "dxconv/worker.h"
#include "dxhost/CDXClient.h"
#include "support/CForeignGuard.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace {

constexpr std::uint32_t kLongestTailFrames = 10 * kTestSampleRate;
constexpr float kSilence = 0.0004f;

bool IsSilent(const float* stereo) {
    for (std::size_t i = 0; i < std::size_t{kTestFrames} * 2; ++i)
        if (!(std::fabs(stereo[i]) <= kSilence))
            return false;
    return true;
}

// How long the effect rings, by the rule of a conversion, after a second of noise; -1 when it fails
// meanwhile.
int TailMs(CDXClient& client) {
    std::vector<float> piece(std::size_t{kTestFrames} * 2);
    std::uint32_t random = 1;
    for (std::int32_t frames = 0; frames < kTestSampleRate; frames += kTestFrames) {
        MarkProgress();
        for (float& sample : piece) {
            random = random * 1664525 + 1013904223;
            sample = static_cast<float>(static_cast<std::int32_t>(random)) * 0x1p-32f;
        }
        if (client.FillBuffer(piece.data(), kTestFrames) == nullptr)
            return -1;
    }
    std::fill(piece.begin(), piece.end(), 0.0f);
    std::uint32_t tailFrames = 0;
    for (; tailFrames + kTestFrames <= kLongestTailFrames; tailFrames += kTestFrames) {
        MarkProgress();
        const float* const out = client.FillBuffer(piece.data(), kTestFrames);
        bool silent = false;
        if (out == nullptr || !RunGuarded([&] { silent = IsSilent(out); }))
            return -1;
        if (silent)
            break;
    }
    return static_cast<int>(tailFrames * std::uint64_t{1000} / kTestSampleRate);
}

} // namespace

void TryUse(const GUID& clsid, UseFindings& found) {
    {
        CDXClient client;
        found.step = UseStep::Page;
        found.refused = !client.SetDX(clsid, "effect", kTestSampleRate, kTestFrames);
        if (found.refused)
            return;
        found.step = UseStep::State;
        client.GetPageSize(&found.pageWidth, &found.pageHeight);
        void* state = nullptr;
        client.GetState(&state, &found.stateBytes);
        std::free(state);
        found.step = UseStep::Audio;
        found.tailMs = TailMs(client);
        found.refused = found.tailMs < 0;
        if (found.refused)
            return;
        found.step = UseStep::Release;
    }
    found.step = UseStep::Done;
}

std::string UseRefusalText(const UseFindings& found) {
    if (!found.refused)
        return {};
    return found.step == UseStep::Audio
               ? "failed while it was running"
               : "has a property page that cannot be created or does not take the effect";
}
