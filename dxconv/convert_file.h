#pragma once

#include "dxconv/verbs.h"

#include <string>

/// The settings text of the conversions. COM is initialised. Throws CError with ExitCode::Effect.
std::wstring SettingsFor(const ConvertOptions& options);

/// Converts options.in to options.out in this process. COM is initialised. Errors: CError.
void ConvertFile(const ConvertOptions& options);
