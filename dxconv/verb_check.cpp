#include "dxconv/CError.h"
#include "dxconv/find_effect.h"
#include "dxconv/interruption.h"
#include "dxconv/text.h"
#include "dxconv/trial.h"
#include "dxconv/verbs.h"

namespace {

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

void PrintUse(const UseFindings& use) {
    if (use.step <= UseStep::Page)
        return;
    PrintRow("page", std::to_string(use.pageWidth) + " x " + std::to_string(use.pageHeight) + " pixels");
    if (use.step <= UseStep::State)
        return;
    PrintRow("saved state",
        use.stateBytes == 0 ? "none: settings are not kept" : std::to_string(use.stateBytes) + " bytes");
    if (use.refused)
        PrintRow("tail after noise", "failed");
    else if (use.step > UseStep::Audio)
        PrintRow("tail after noise", std::to_string(use.tailMs) + " ms");
}

} // namespace

void RunCheck(const CheckOptions& options) {
    SuperviseInterruptions();
    const FoundEffect effect = FindEffect(options.effect);
    Print(STD_OUTPUT_HANDLE, Utf8(effect.name + L" " + ClsidText(effect.clsid)) + "\n");
    const Trial trial = TryInChild(effect.clsid, {.use = true, .timeoutSeconds = options.timeoutSeconds});
    PrintVerdict(trial.verdict);
    PrintUse(trial.use);
    if (!trial.refusal.empty())
        throw CError(
            ExitCode::Effect, options.effect, "refused: it " + trial.refusal + "; choose another effect");
    Print(STD_OUTPUT_HANDLE, "usable\n");
}
