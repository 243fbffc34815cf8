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

/// At most one of settings and settingsFile is given.
struct PanelOptions {
    std::string settings;
    std::string
        settingsFile; // read, and written when the panel is closed; may be one that is still to be made
    std::string module;
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
/// Returns when the user has closed the panel's window.
void RunPanel(const PanelOptions& options);
void RunVersion();
