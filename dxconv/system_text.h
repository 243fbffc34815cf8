#pragma once

#include <string>

/// The system that this process runs on: "Windows 10.0.19045, 64-bit", "Wine 8.0 as Windows 10.0.19043,
/// 32-bit". The version is the true one, whatever the program's manifest says.
std::string SystemText();
