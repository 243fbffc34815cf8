#pragma once

#include "config/test_candidate.h"
#include "dxconv/use_test.h"

#include <windows.h>
#include <atomic>
#include <cstdint>

// What the program and its worker, the process that runs the effect, know of each other. Plain data in shared
// memory: the effect may end the worker at any point, and what was stored until then counts.

enum class WorkerTask : std::uint32_t {
    CommandLine, ///< the verb that both were started with
    Candidate,   ///< one candidate's test run
    CandidateUse ///< the same, and what a conversion and the editor need
};

/// What the worker asked of the module or the effect last.
enum class WorkerCall : std::uint32_t { Load, Begin, Block, End, Release, Candidate, Leave };

enum class OutputState : std::uint32_t {
    Unfinished,
    Committing, ///< taking its place: as long as the temporary file is there, it has not
    Committed
};

/// What a conversion says of itself when it is done.
struct ConversionFigures {
    std::uint64_t framesIn = 0;
    std::uint64_t framesOut = 0;
    std::uint64_t tailMs = 0;
    double timesRealTime = 0;
};

struct WorkerPage {
    static constexpr std::uint32_t kMagic = 0x43585744;
    static constexpr std::size_t kLongestPath = 32768; // units, with the terminator
    static constexpr std::size_t kLongestReason = 2048;

    std::uint32_t magic = kMagic;

    // Set before the worker starts.
    WorkerTask task = WorkerTask::CommandLine;
    GUID clsid{};                  ///< the candidate
    wchar_t input[kLongestPath]{}; ///< IN and OUT of a conversion
    wchar_t output[kLongestPath]{};
    wchar_t temporary[kLongestPath]{}; ///< the path under which OUT is written; empty: there is no OUT

    // Set by the program while the worker runs.
    std::atomic<std::uint32_t> cancelled = 0;

    // Set by the worker.
    std::atomic<std::uint32_t> steps = 0; ///< grows with every step; odd while inside a call
    std::atomic<WorkerCall> call = WorkerCall::Load;
    std::atomic<OutputState> outputState = OutputState::Unfinished;
    std::atomic<std::uint32_t> streamed = 0; ///< OUT is the standard output, which takes what comes
    std::atomic<std::uint32_t> finished = 0; ///< it came to its own end and has said what there was to say
    std::atomic<std::uint32_t> exitCode = 0; ///< then
    std::atomic<std::uint32_t> crash = 0;    ///< code of the exception that ended it; kAborted for abort()
    CandidateVerdict verdict;
    UseFindings use;
    ConversionFigures figures;
    char reason[kLongestReason]{}; ///< the line of the error that it ended with, UTF-8

    static constexpr std::uint32_t kAborted = 1;
};
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);
