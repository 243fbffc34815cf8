#pragma once

#include "support/hresult.h"
#include "tests/effects/test_effect.h"

#include <unknwn.h>

/// The state that this DLL shares with its test program.
TestEffectState& Shared();

/// Counts a call at `place` and, when the plan says so, breaks in the planned way.
/// S_OK, or E_FAIL for the plan's Fail.
HRESULT At(Place place);

/// After the call's own work: what the plan does to `out`, which the call gives out, and to `given`, which it
/// was given. Either may be null.
void After(Place place, void* out, IUnknown* given);

/// A call at `place` that does `work`.
template <typename Work>
HRESULT Enter(Place place, Work&& work, void* out = nullptr, IUnknown* given = nullptr) {
    RETURN_IF_FAILED(At(place));
    const HRESULT result = work();
    After(place, out, given);
    return result;
}
