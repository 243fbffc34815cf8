#pragma once

/// What the program's exit status tells a script. Listed for users in the help text (CommandLine.cpp).
enum class ExitCode {
    Ok = 0,
    Internal = 1,    // out of memory, a fault of this program; of doctor: a check failed
    Usage = 2,       // the command line
    Input = 3,       // IN is missing, unreadable, damaged or of a format that is not supported
    Output = 4,      // OUT or a log file cannot be written
    Effect = 5,      // the effect is unknown or ambiguous, or its settings are no settings
    Conversion = 6,  // the effect or the module failed or crashed
    Module = 7,      // the module cannot be loaded
    Cancelled = 8,   // Ctrl+C
    EffectEnded = 9, // the effect ended the process that it ran in
    EffectHung = 10, // the effect did not return within --timeout
    SomeFailed = 11, // of several files, for different reasons
};
