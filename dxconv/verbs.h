#pragma once

#include <string>

/// What `dxconv convert` was asked to do; all text UTF-8, empty = not given.
struct ConvertOptions {
    std::string in;
    std::string out;
    std::string effect;
    std::string stateFile;
    std::string settings;
    std::string settingsFile;
    std::string logDir;
    std::string module;
    unsigned blockMs = 100; // 1 .. 60000
    bool quiet = false;
};

// One function a verb. COM is initialised (single-threaded apartment). Errors: CError.

void RunConvert(const ConvertOptions& options);
void RunEffects();
void RunVersion();
