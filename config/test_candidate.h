#pragma once

#include <windows.h>
#include <cstdint>

/// How far a candidate came in its test run. In this order.
enum class CandidateStep {
    Create,  ///< making the filter
    Pages,   ///< it must report exactly one property page
    Graph,   ///< the platform's graph manager
    Join,    ///< entering the graph, finding a pin of each direction
    Input,   ///< taking stereo float
    Output,  ///< giving float, in stereo or mono
    Run,     ///< pausing and running
    Process, ///< a block of silence
    Passed
};

/// What the test run found.
struct CandidateVerdict {
    CandidateStep step = CandidateStep::Create; ///< Passed, or where it ended
    HRESULT result = S_OK;                      ///< of that step
    DWORD fault = 0;                            ///< exception code when the candidate faulted there, else 0
    ULONG pages = 0;                            ///< property pages reported
    int outputChannels = 0;                     ///< 0 before the output is connected
    std::uint32_t framesGiven = 0;              ///< for the block of kTestFrames
    bool leaving = false;                       ///< the run is over, what it used is being released

    bool Passed() const { return step == CandidateStep::Passed; }
};

inline constexpr std::int32_t kTestFrames = 512;
inline constexpr std::int32_t kTestSampleRate = 44100;

/// Tries whether the filter can serve as an effect: creates it, puts it into a graph of its own and sends a
/// block of silence through. A fault of the filter is a failed step; the filter is then left behind in
/// memory. `verdict` (a fresh one) is up to date before each call into the filter, for the case that one does
/// not come back. Shows no window of ours. Thread: any on which COM is initialised.
void TryCandidate(const GUID& clsid, CandidateVerdict& verdict);

inline CandidateVerdict TryCandidate(const GUID& clsid) {
    CandidateVerdict verdict;
    TryCandidate(clsid, verdict);
    return verdict;
}

inline bool TestCandidate(const GUID& clsid) {
    return TryCandidate(clsid).Passed();
}
