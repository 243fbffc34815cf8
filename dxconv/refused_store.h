#pragma once

#include <windows.h>
#include <string>
#include <vector>

// The candidates that were refused, remembered for the current user: key "Software\Orvelle\DXConv\Refused", a
// value per class id "{...}" with the reason, what a scan does with it and the name. Failing writes are
// ignored: the candidate is then tried again.

struct Refusal {
    GUID clsid{};
    std::wstring name;
    std::wstring reason; ///< the end of a sentence about it
    bool skip = false;   ///< scans leave it out until they are told to try again
};

/// All, in the order in which the registry keeps them. Values of another shape are left out.
std::vector<Refusal> ReadRefusals();

/// Replaces what is remembered of the same class id.
void StoreRefusal(const Refusal& refusal);

void ForgetRefusal(const GUID& clsid);
