#pragma once

#include "tests/effects/test_effect.h"

/// The state that this DLL shares with its test program.
TestEffectState& Shared();

/// Counts a call at `place` and, when the plan says so, breaks in the planned way.
/// S_OK, or E_FAIL for the plan's Fail.
HRESULT At(Place place);
