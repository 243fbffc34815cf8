#pragma once

#include "dxconv/CCheckup.h"

/// Examines the module as a host meets it: its file and version, that it loads with its eleven functions, and
/// with withAudio, which takes a temporary folder, that without an effect a block passes unchanged. module:
/// its path; empty: dxwrapper.dll beside this program.
void CheckModule(CCheckup& checkup, const std::string& module, bool withAudio);
