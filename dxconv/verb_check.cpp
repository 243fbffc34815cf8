#include "dxconv/CError.h"
#include "dxconv/find_effect.h"
#include "dxconv/interruption.h"
#include "dxconv/json.h"
#include "dxconv/text.h"
#include "dxconv/trial.h"
#include "dxconv/verbs.h"

namespace {

// One thing that was found out, for people and as a member of a JSON object.
struct Finding {
    std::string what;
    std::string found;
    std::string key;
    std::string json;
};
using Findings = std::vector<Finding>;

void AddCount(Findings& findings, const std::string& what, const char* unit, const char* key, auto count) {
    findings.push_back({what, std::to_string(count) + unit, key, std::to_string(count)});
}

// Up to the step at which the candidate was refused.
void AddVerdict(Findings& findings, const CandidateVerdict& verdict) {
    const auto passed = [&](CandidateStep step) { return verdict.step > step; };
    const auto add = [&](const char* what, const char* found, const char* key, bool yes) {
        findings.push_back({what, found, key, yes ? "true" : "false"});
    };
    const bool created = passed(CandidateStep::Create), taken = passed(CandidateStep::Input);
    add("created", created ? "yes" : "no", "created", created);
    if (created)
        AddCount(findings, "property pages", "", "propertyPages", verdict.pages);
    if (passed(CandidateStep::Join))
        add("input", taken ? "stereo float" : "refuses stereo float", "takesStereoFloat", taken);
    if (taken)
        findings.push_back({"output",
            verdict.outputChannels == 2   ? "stereo float"
            : verdict.outputChannels == 1 ? "float in mono only"
                                          : "refuses float",
            "outputChannels", std::to_string(verdict.outputChannels)});
    if (passed(CandidateStep::Run))
        AddCount(
            findings, std::to_string(kTestFrames) + " frames", " back", "framesBack", verdict.framesGiven);
}

void AddUse(Findings& findings, const UseFindings& use) {
    if (use.step <= UseStep::Page)
        return;
    const std::string width = std::to_string(use.pageWidth), height = std::to_string(use.pageHeight);
    findings.push_back({"page", width + " x " + height + " pixels", "pagePixels", JsonList({width, height})});
    if (use.step <= UseStep::State)
        return;
    AddCount(findings, "saved state", " bytes", "stateBytes", use.stateBytes);
    if (use.stateBytes == 0)
        findings.back().found = "none: settings are not kept";
    if (use.refused)
        findings.push_back({"tail after noise", "failed", "tailMs", "null"});
    else if (use.step > UseStep::Audio)
        AddCount(findings, "tail after noise", " ms", "tailMs", use.tailMs);
}

void PrintRows(const Findings& findings) {
    for (const Finding& finding : findings) {
        std::string row = "  " + finding.what;
        row.resize(24, ' ');
        Print(STD_OUTPUT_HANDLE, row + finding.found + "\n");
    }
}

void PrintJson(const FoundEffect& effect, const Findings& findings, const std::string& refusal) {
    std::vector<std::pair<std::string, std::string>> steps;
    for (const Finding& finding : findings)
        steps.emplace_back(finding.key, finding.json);
    Print(STD_OUTPUT_HANDLE,
        JsonObject({{"clsid", JsonText(Utf8(ClsidText(effect.clsid)))}, {"name", JsonText(Utf8(effect.name))},
            {"verdict", JsonText(refusal.empty() ? "usable" : "refused")},
            {"reason", refusal.empty() ? "null" : JsonText(refusal)}, {"steps", JsonObject(steps)}}) +
            "\n");
}

} // namespace

void RunCheck(const CheckOptions& options) {
    SuperviseInterruptions();
    const FoundEffect effect = FindInstalled(options.effect);
    if (!options.json)
        Print(STD_OUTPUT_HANDLE, Utf8(effect.name + L" " + ClsidText(effect.clsid)) + "\n");
    const Trial trial = TryInChild(effect.clsid, {.use = true, .timeoutSeconds = options.timeoutSeconds});
    Findings findings;
    AddVerdict(findings, trial.verdict);
    AddUse(findings, trial.use);
    if (options.json)
        PrintJson(effect, findings, trial.refusal);
    else
        PrintRows(findings);
    if (!trial.refusal.empty())
        throw CError(
            ExitCode::Effect, options.effect, "refused: it " + trial.refusal + "; choose another effect");
    if (!options.json)
        Print(STD_OUTPUT_HANDLE, "usable\n");
}
