#pragma once

#include <windows.h>
#include <cstdint>
#include <string>

/// How far the second test run came. In this order.
enum class UseStep : std::uint32_t {
    None,
    Page,    ///< making the property page
    State,   ///< asking for page size and state
    Audio,   ///< a second of noise and its tail
    Release, ///< taking all down
    Done
};

struct UseFindings {
    UseStep step = UseStep::None; ///< Done, or where it ended
    bool refused = false;         ///< in that step
    std::int32_t pageWidth = 0;   ///< pixels
    std::int32_t pageHeight = 0;
    std::uint32_t stateBytes = 0;
    std::int32_t tailMs = 0; ///< by the rule of a conversion; -1: it failed meanwhile
};

/// Tries what a conversion and the editor need beyond TryCandidate. `found` is up to date before each call
/// into the effect, for the case that it does not come back. Thread: any on which COM is initialised.
void TryUse(const GUID& clsid, UseFindings& found);

/// Why the effect can't be used, as the end of a sentence about it; empty when it can.
std::string UseRefusalText(const UseFindings& found);
