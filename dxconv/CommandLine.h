#pragma once

#include "dxconv/verbs.h"

#include <string>
#include <vector>

enum class Verb { None, Convert, Effects, List, Scan, Check, Panel, Doctor, Version };

struct CommandLine {
    Verb verb = Verb::None; // None: help was asked for and is printed
    ConvertOptions convert;
    EffectsOptions effects;
    ScanOptions scan;
    CheckOptions check;
    ListOptions list;
    PanelOptions panel;
    DoctorOptions doctor;
};

/// arguments: UTF-8, without the program's name. Throws CError with ExitCode::Usage.
CommandLine ParseCommandLine(std::vector<std::string> arguments);
