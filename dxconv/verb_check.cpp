#include "dxconv/CError.h"
#include "dxconv/find_effect.h"
#include "dxconv/text.h"
#include "dxconv/verbs.h"
#include "dxconv/verdict_text.h"
#include "dxhost/CDXClient.h"
#include "support/CForeignGuard.h"
#include "support/text.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <vector>

namespace {

constexpr std::uint32_t kLongestTailFrames = 10 * kTestSampleRate;
constexpr float kSilence = 0.0004f;

void PrintRow(const std::string& what, const std::string& found) {
    std::string row = "  " + what;
    row.resize(24, ' ');
    Print(STD_OUTPUT_HANDLE, row + found + "\n");
}

// Rows up to the step at which the candidate was refused.
void PrintVerdict(const CandidateVerdict& verdict) {
    const auto passed = [&](CandidateStep step) { return verdict.step > step; };
    PrintRow("created", passed(CandidateStep::Create) ? "yes" : "no");
    if (passed(CandidateStep::Create))
        PrintRow("property pages", std::to_string(verdict.pages));
    if (passed(CandidateStep::Join))
        PrintRow("input", passed(CandidateStep::Input) ? "stereo float" : "refuses stereo float");
    if (passed(CandidateStep::Input))
        PrintRow("output", verdict.outputChannels == 2   ? "stereo float"
                           : verdict.outputChannels == 1 ? "float in mono only"
                                                         : "refuses float");
    if (passed(CandidateStep::Run))
        PrintRow(std::to_string(kTestFrames) + " frames", std::to_string(verdict.framesGiven) + " back");
}

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
        const float* const out = client.FillBuffer(piece.data(), kTestFrames);
        bool silent = false;
        if (out == nullptr || !RunGuarded([&] { silent = IsSilent(out); }))
            return -1;
        if (silent)
            break;
    }
    return static_cast<int>(tailFrames * std::uint64_t{1000} / kTestSampleRate);
}

// What a conversion and the editor need beyond the test run. Returns why the effect can't be used, or
// nothing.
std::string CheckInUse(const FoundEffect& effect) {
    CDXClient client;
    const std::string name = WideToAnsi(effect.name.c_str());
    if (!client.SetDX(effect.clsid, name.c_str(), kTestSampleRate, kTestFrames))
        return "has a property page that cannot be created or does not take the effect";
    std::int32_t cx = 0;
    std::int32_t cy = 0;
    client.GetPageSize(&cx, &cy);
    PrintRow("page", std::to_string(cx) + " x " + std::to_string(cy) + " pixels");
    void* state = nullptr;
    std::uint32_t size = 0;
    client.GetState(&state, &size);
    std::free(state);
    PrintRow("saved state", size == 0 ? "none: settings are not kept" : std::to_string(size) + " bytes");
    const int tailMs = TailMs(client);
    PrintRow("tail after noise", tailMs < 0 ? "failed" : std::to_string(tailMs) + " ms");
    return tailMs < 0 ? "failed while it was running" : "";
}

} // namespace

void RunCheck(const std::string& effectName) {
    const FoundEffect effect = FindEffect(effectName);
    Print(STD_OUTPUT_HANDLE, Utf8(effect.name + L" " + ClsidText(effect.clsid)) + "\n");
    const CandidateVerdict verdict = TryCandidate(effect.clsid);
    PrintVerdict(verdict);
    std::string refusal = RefusalText(verdict);
    if (refusal.empty())
        refusal = CheckInUse(effect);
    if (!refusal.empty())
        throw CError(ExitCode::Effect, effectName, "refused: it " + refusal + "; choose another effect");
    Print(STD_OUTPUT_HANDLE, "usable\n");
}
