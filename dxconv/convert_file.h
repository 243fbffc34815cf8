#pragma once

#include "dxconv/verbs.h"

/// Converts IN to OUT in this process. COM is initialised. Errors: CError.
void ConvertFile(const ConvertOptions& options);
