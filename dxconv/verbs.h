#pragma once

#include "dxconv/exit_codes.h"

#include <string>
#include <vector>

/// What `dxconv convert` was asked to do; all text UTF-8, empty = not given.
struct ConvertOptions {
    static constexpr unsigned kMostJobs = 32;

    std::vector<std::string> names; // IN and OUT; with outDir: every IN, wildcards too
    std::string outDir;
    std::string in;  // the file that this process converts
    std::string out; // likewise
    std::string effect;
    std::string stateFile;
    std::string settings;
    std::string settingsFile;
    std::string logDir;
    std::string module;
    unsigned blockMs = 0;          // 1 .. 60000; 0: as long as suits
    unsigned timeoutSeconds = 300; // for one call into the effect; 0: none
    unsigned jobs = 0;             // workers at once; 0: one a processor
    bool skipExisting = false;
    bool force = false; // OUT may be replaced
    bool quiet = false;
    bool json = false;
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
    bool retry = false;    // also those that crashed, hung or ended the process last time
    unsigned timeoutSeconds = 30;
};

// json: one JSON document instead of lines.

struct CheckOptions {
    std::string effect; // name or class id
    unsigned timeoutSeconds = 30;
    bool json = false;
};

struct EffectsOptions {
    bool json = false;
};

struct ListOptions {
    bool refused = false;
    bool json = false;
};

struct DoctorOptions {
    std::string module;
    unsigned timeoutSeconds = 30;
    bool json = false;
};

// One function a verb. COM is initialised (single-threaded apartment). RunConvert, RunPanel, RunDoctor and
// the scanner's window run the effect or the module in this process: a worker. Errors: CError.

/// Converts the file that the worker's page names.
void RunConvert(const ConvertOptions& options);
/// Converts every file in a worker of its own and sums up. Prints what fails; throws CError only when nothing
/// is converted at all.
ExitCode SuperviseConvert(const ConvertOptions& options);
void RunEffects(const EffectsOptions& options);
void RunList(const ListOptions& options);
void RunScan(const ScanOptions& options);
/// Throws, after what it found is printed, when the effect can't be used.
void RunCheck(const CheckOptions& options);
/// Returns when the user has closed the panel's window.
void RunPanel(const PanelOptions& options);
/// The file to write, in which "-" is a name like all in options that name a file; empty: none.
std::string PanelFile(const PanelOptions& options);
/// Throws, after the report is printed, when something failed.
void RunDoctor(const DoctorOptions& options);
void RunVersion();
