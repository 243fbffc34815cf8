#pragma once

#include "tests/effects/test_effect.h"

#include <string>

/// The folder of the running test program, with a trailing backslash.
std::wstring ProgramFolder();

/// Registers a COM class of an in-process server for this (private) prefix. Unregister takes it away.
void RegisterClassInPrefix(const GUID& clsid, const std::wstring& dllPath);
void UnregisterClassInPrefix(const GUID& clsid);

/// The sample effect that was built beside the tests, and its page.
void RegisterEcho();

/// test_effects.dll, registered and loaded: a test sets the plan and reads the record. The plan starts anew
/// with each object.
class CTestEffects {
public:
    CTestEffects();

    TestEffectPlan& Plan() { return m_state->plan; }
    TestEffectRecord& Record() { return m_state->record; }
    int Calls(Place place) const { return m_state->record.calls[static_cast<std::size_t>(place)]; }
    /// A new plan and record; objects that still live stay counted.
    void Reset();

private:
    TestEffectState* m_state = nullptr;
};
