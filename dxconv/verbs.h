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

struct ScanOptions {
    bool headless = false; // without the dialog: tries all candidates
};

// One function a verb. COM is initialised (single-threaded apartment). Errors: CError.

void RunConvert(const ConvertOptions& options);
void RunEffects();
void RunList();
void RunScan(const ScanOptions& options);
/// effect: name or class id. Throws, after what it found is printed, when the effect can't be used.
void RunCheck(const std::string& effect);
void RunVersion();
