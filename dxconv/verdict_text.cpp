#include "dxconv/verdict_text.h"

#include "dxconv/worker_page.h"

#include <cstdio>

namespace {

std::string InBrackets(unsigned long code) {
    return " (" + HexText(code) + ")";
}

std::string PagesText(const CandidateVerdict& verdict) {
    if (verdict.pages == 0)
        return "has no property page";
    return "has " + std::to_string(verdict.pages) + " property pages instead of one";
}

std::string ProcessText(const CandidateVerdict& verdict) {
    if (verdict.framesGiven == 0)
        return "gave no audio for a block" + InBrackets(static_cast<unsigned long>(verdict.result));
    return "changed the length of a block from " + std::to_string(kTestFrames) + " to " +
           std::to_string(verdict.framesGiven) + " frames";
}

} // namespace

std::string HexText(unsigned long code) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08lX", code);
    return text;
}

std::string CrashText(unsigned long crash) {
    return crash == WorkerPage::kAborted ? "abort" : HexText(crash);
}

std::string StepText(const CandidateVerdict& verdict) {
    // A fault is that of the step, whatever was released after it.
    if (verdict.leaving && verdict.fault == 0)
        return "when it was released";
    switch (verdict.step) {
    case CandidateStep::Create:
        return "when it was created";
    case CandidateStep::Pages:
        return "when it was asked for its property page";
    case CandidateStep::Graph:
    case CandidateStep::Join:
        return "when it joined the filter graph";
    case CandidateStep::Input:
        return "when its input was connected";
    case CandidateStep::Output:
        return "when its output was connected";
    case CandidateStep::Run:
        return "when it was started";
    default:
        return "when it processed a block of silence";
    }
}

std::string RefusalText(const CandidateVerdict& verdict) {
    const auto code = static_cast<unsigned long>(verdict.result);
    if (verdict.fault != 0)
        return "crashed" + InBrackets(verdict.fault) + " " + StepText(verdict);
    switch (verdict.step) {
    case CandidateStep::Create:
        return verdict.result == REGDB_E_CLASSNOTREG ? "is not installed as a 32-bit effect"
                                                     : "cannot be created" + InBrackets(code);
    case CandidateStep::Pages:
        return PagesText(verdict);
    case CandidateStep::Graph:
        return "was not tried: there is no filter graph manager" + InBrackets(code);
    case CandidateStep::Join:
        return "has no audio input and output that could be connected" + InBrackets(code);
    case CandidateStep::Input:
        return "refuses 32-bit float stereo on its input" + InBrackets(code);
    case CandidateStep::Output:
        return "gives 32-bit float neither in stereo nor in mono" + InBrackets(code);
    case CandidateStep::Run:
        return "cannot be started" + InBrackets(code);
    case CandidateStep::Process:
        return ProcessText(verdict);
    default:
        return {};
    }
}
