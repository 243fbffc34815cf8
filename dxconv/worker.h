#pragma once

#include "dxconv/worker_page.h"

#include <string>
#include <string_view>

// The worker's own side. In a process that is no worker the page is null and marks go nowhere.

/// Takes up the page that the starting process left in the environment. Call once, at the start. In a worker,
/// Ctrl+C and faults are from now on left to the starting process. False: this process is no worker.
bool BecomeWorker();

/// Null when this process is no worker.
WorkerPage* OwnPage();

/// What the worker does inside the module or an effect: the starting process measures how long it takes.
class CInsideCall {
public:
    explicit CInsideCall(WorkerCall call);
    ~CInsideCall();
    CInsideCall(const CInsideCall&) = delete;
    CInsideCall& operator=(const CInsideCall&) = delete;
};

/// The call that is under way goes on to another piece of work: its time starts anew.
void MarkProgress();

/// The path that the starting process chose for the temporary output file; empty: none.
std::wstring PresetTemporary();

/// streamed: the output is no file that takes its place as a whole.
void MarkOutput(OutputState state, bool streamed = false);

/// For the summary of who started this process.
void MarkFigures(const ConversionFigures& figures);
void MarkReason(std::string_view line);

/// The last thing that the worker says: what still ends it, the effect's libraries included, is no result.
void MarkFinished(std::uint32_t exitCode);
