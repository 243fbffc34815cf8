#pragma once

#include "dxconv/verbs.h"
#include "dxconv/worker_page.h"

#include <string>
#include <vector>

enum class ConversionResult { NotStarted, Converted, Skipped, Failed, Cancelled };

/// One file of a run; names in UTF-8.
struct Conversion {
    std::string in;
    std::string out;
    ConversionResult result = ConversionResult::NotStarted;
    ExitCode code = ExitCode::Ok;
    std::string reason = {};        ///< when it failed: the line that said so
    ConversionFigures figures = {}; ///< when it is converted
};

/// The files that the command line asks for, wildcards expanded; those that --skip-existing leaves out are
/// marked. Makes the folder for the outputs. Throws CError before anything is converted when names contradict
/// each other: two inputs with one name, an input that would be its own output.
std::vector<Conversion> ListConversions(const ConvertOptions& options);
